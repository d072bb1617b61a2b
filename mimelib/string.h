// The byte string of the MIME layer.
#pragma once

#include "base/text.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

/// An immutable slice of bytes that shares its buffer: copies and substrings cost no bytes, and a
/// slice keeps the text that it came from alive. Not zero-terminated; may hold NUL bytes.
class DwString {
public:
    /// The empty string.
    DwString() = default;
    /// Takes the bytes over.
    explicit DwString(std::string bytes) {
        const auto kept = std::make_shared<const std::string>(std::move(bytes));
        owner_ = kept;
        view_ = *kept;
    }
    /// Bytes that `owner` keeps, and nobody changes.
    DwString(std::shared_ptr<const void> owner, std::string_view bytes)
        : owner_(std::move(owner)), view_(bytes) {}
    /// Copies the bytes.
    explicit DwString(std::string_view bytes) : DwString(std::string(bytes)) {}
    explicit DwString(const char* text) : DwString(std::string(text)) {}
    /// Moving is copying, so that no slice is ever left without its buffer.
    DwString(const DwString&) = default;
    DwString& operator=(const DwString&) = default;

    std::string_view view() const { return view_; }
    std::size_t size() const { return view_.size(); }
    bool empty() const { return view_.empty(); }
    std::string str() const { return std::string(view_); }

    /// At most `length` bytes from `start` on; empty when `start` lies behind the end.
    DwString substr(std::size_t start, std::size_t length = std::string_view::npos) const {
        return slice(view_.substr(std::min(start, view_.size()), length));
    }

    /// A slice for `part`, which must lie within view().
    DwString slice(std::string_view part) const { return {owner_, part}; }

    /// Becomes a text of its own with its ASCII letters in lower case.
    void ConvertToLowerCase() { *this = DwString(to_lower(view_)); }

private:
    std::shared_ptr<const void> owner_;
    std::string_view view_;
};
