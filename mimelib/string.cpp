#include "mimelib/string.h"

#include <algorithm>

DwString::DwString(std::string bytes) {
    const auto kept = std::make_shared<const std::string>(std::move(bytes));
    owner_ = kept;
    view_ = *kept;
}

DwString DwString::substr(std::size_t start, std::size_t length) const {
    return slice(view_.substr(std::min(start, view_.size()), length));
}

DwString DwString::slice(std::string_view part) const {
    DwString result(*this);
    result.view_ = part;
    return result;
}
