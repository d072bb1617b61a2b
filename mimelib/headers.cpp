#include "mimelib/headers.h"

#include "base/text.h"
#include "mimelib/field_text.h"

#include <algorithm>

using mimelib::end_of_line;
using mimelib::is_blank;

namespace {

constexpr std::string_view blanks = " \t";

bool ends_name(char c) {
    return c == ':' || c == ' ' || is_control(c) || !is_ascii(c);
}

/// Of the header that `text` begins with, up to and without the empty line that ends it. It also
/// ends before the first line that can be neither field nor continuation, and at the end.
std::size_t header_length(std::string_view text) {
    DwFieldReader fields(text);
    while (fields.Next()) {
    }
    return text.size() - fields.Rest().size();
}

} // namespace

bool DwFieldReader::Next() {
    std::size_t end = end_of_line(rest_, 0);
    const std::string_view line = rest_.substr(0, end);
    name_ = {line.begin(), std::find_if(line.begin(), line.end(), ends_name)};
    const std::size_t colon = line.find_first_not_of(blanks, name_.size());
    if (name_.empty() || colon == std::string_view::npos || line[colon] != ':')
        return false;
    while (end < rest_.size() && is_blank(rest_[end]))
        end = end_of_line(rest_, end);
    body_ = rest_.substr(colon + 1, end - colon - 1);
    body_.remove_prefix(std::min(body_.find_first_not_of(blanks), body_.size()));
    body_ = body_.substr(0, body_.find_last_not_of(" \t\r\n") + 1);
    rest_.remove_prefix(end);
    return true;
}

DwHeaders::DwHeaders(const DwString& text)
    : DwMessageComponent(text.substr(0, header_length(text.view()))) {
    for (DwFieldReader field(AsString().view()); field.Next();) {
        const auto keep_first = [&](auto& kept, std::string_view name) {
            if (!kept && equals_ignoring_case(field.Name(), name))
                kept.emplace(AsString().slice(field.Body()));
        };
        keep_first(reply_to_, "reply-to");
        keep_first(from_, "from");
        keep_first(subject_, "subject");
        keep_first(date_, "date");
        keep_first(content_type_, "content-type");
        keep_first(transfer_encoding_, "content-transfer-encoding");
    }
}
