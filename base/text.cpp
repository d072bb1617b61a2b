#include "base/text.h"

#include <algorithm>
#include <cstring>

std::string concat(std::initializer_list<std::string_view> pieces) {
    std::size_t size = 0;
    for (const std::string_view piece : pieces)
        size += piece.size();
    std::string whole;
    whole.reserve(size);
    for (const std::string_view piece : pieces)
        whole += piece;
    return whole;
}

std::size_t offset_of(std::string_view text, std::string_view needle) {
    const void* const found = memmem(text.data(), text.size(), needle.data(), needle.size());
    return found == nullptr
               ? std::string_view::npos
               : static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
}

bool contains(std::string_view text, std::string_view needle) {
    return offset_of(text, needle) != std::string_view::npos;
}

std::string_view until_nul(std::string_view text) {
    return text.substr(0, text.find('\0'));
}

std::string to_lower(std::string_view text) {
    std::string result(text);
    for (char& c : result)
        c = to_lower(c);
    return result;
}

std::string hex_form(std::string_view mark, char byte) {
    constexpr char digits[] = "0123456789ABCDEF";
    const auto value = static_cast<unsigned char>(byte);
    return std::string(mark) + digits[value >> 4] + digits[value & 15];
}

std::optional<char> hex_byte(std::string_view text) {
    if (text.size() < 2 || hex_value(text[0]) < 0 || hex_value(text[1]) < 0)
        return std::nullopt;
    return static_cast<char>(hex_value(text[0]) << 4 | hex_value(text[1]));
}

std::string escaped(std::string_view text, std::string_view mark, bool (*may_stay)(char)) {
    std::string result;
    result.reserve(text.size());
    for (const char c : text) {
        if (may_stay(c))
            result += c;
        else
            result += hex_form(mark, c);
    }
    return result;
}

std::string_view until_control(std::string_view text) {
    const auto ends = [](char c) { return is_control(c) && c != '\t'; };
    const auto* const end = std::find_if(text.begin(), text.end(), ends);
    return text.substr(0, static_cast<std::size_t>(end - text.begin()));
}

std::string_view trim(std::string_view text, std::string_view white) {
    text.remove_prefix(std::min(text.find_first_not_of(white), text.size()));
    return text.substr(0, text.find_last_not_of(white) + 1);
}

bool equals_ignoring_case(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return to_lower(x) == to_lower(y); });
}

bool take_line(std::string_view& text, std::string_view& line) {
    const std::size_t end = text.find('\n');
    line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return end != std::string_view::npos;
}
