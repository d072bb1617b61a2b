#include "reading/html_references.h"

#include "base/text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <utf8proc.h>
#include <vector>

namespace orvek {

namespace {

/// The named references of the WHATWG standard, sorted: the name, "=" where it counts without its
/// semicolon as well or else ";", and its characters in hexadecimal with "+" between them. One
/// text, so that a start has no pointers in it to set right.
constexpr std::string_view named_references =
#include "reading/html_entities.inc"
    ;

constexpr std::size_t longest_name = 31;
constexpr std::size_t longest_without_semicolon = 6;

void append_character(int c, std::string& out) {
    std::array<utf8proc_uint8_t, 4> bytes;
    const utf8proc_ssize_t length = utf8proc_encode_char(c, bytes.data());
    out.append(bytes.begin(), bytes.begin() + length);
}

/// What a number in a reference stands for: those of the C1 controls are windows-1252's.
int character_of(int number) {
    constexpr std::uint16_t windows[] = {
        0x20ac, 0x81,   0x201a, 0x192,  0x201e, 0x2026, 0x2020, 0x2021, 0x2c6,  0x2030, 0x160,
        0x2039, 0x152,  0x8d,   0x17d,  0x8f,   0x90,   0x2018, 0x2019, 0x201c, 0x201d, 0x2022,
        0x2013, 0x2014, 0x2dc,  0x2122, 0x161,  0x203a, 0x153,  0x9d,   0x17e,  0x178};
    if (number == 0 || number > 0x10ffff || (number >= 0xd800 && number <= 0xdfff))
        return 0xfffd;
    return number >= 0x80 && number <= 0x9f ? windows[number - 0x80] : number;
}

std::size_t resolve_number(std::string_view text, std::string& out) {
    const bool hexadecimal = text.size() > 2 && (text[2] | 0x20) == 'x';
    const int base = hexadecimal ? 16 : 10;
    const std::size_t start = hexadecimal ? 3 : 2;
    std::size_t end = start;
    int number = 0;
    for (; end < text.size(); ++end) {
        const int digit = hex_value(text[end]);
        if (digit < 0 || digit >= base)
            break;
        number = std::min(number * base + digit, 0x110000);
    }
    if (end == start)
        return 0;
    append_character(character_of(number), out);
    return end < text.size() && text[end] == ';' ? end + 1 : end;
}

/// The named references, found by name.
class NamedReferences {
public:
    NamedReferences() {
        for (std::size_t at = 0; at < named_references.size();
             at = named_references.find(' ', at) + 1)
            starts_.push_back(static_cast<std::uint16_t>(at));
    }

    /// The entry's name, its mark and its characters; empty when there is none.
    std::string_view find(std::string_view name) const {
        const auto found = std::lower_bound(
            starts_.begin(), starts_.end(), name,
            [](std::uint16_t start, std::string_view wanted) { return name_at(start) < wanted; });
        if (found == starts_.end() || name_at(*found) != name)
            return {};
        return named_references.substr(*found, named_references.find(' ', *found) - *found);
    }

private:
    static std::string_view name_at(std::uint16_t start) {
        return named_references.substr(start, named_references.find_first_of(";=", start) - start);
    }

    static_assert(named_references.size() < 65536);
    std::vector<std::uint16_t> starts_;
};

void append_characters(std::string_view numbers, std::string& out) {
    const char* at = numbers.data();
    const char* const end = at + numbers.size();
    while (at < end) {
        int number = 0;
        at = std::from_chars(at, end, number, 16).ptr + 1;
        append_character(number, out);
    }
}

std::size_t resolve_name(std::string_view text, std::string& out) {
    static const NamedReferences references;
    std::size_t length = 0;
    while (length < longest_name && 1 + length < text.size() && is_alphanumeric(text[1 + length]))
        ++length;
    const bool closed = 1 + length < text.size() && text[1 + length] == ';';
    std::string_view entry = closed ? references.find(text.substr(1, length)) : std::string_view();
    std::size_t consumed = length + 2;
    for (std::size_t part = std::min(length, longest_without_semicolon); entry.empty() && part > 1;
         --part) {
        entry = references.find(text.substr(1, part));
        if (!entry.empty() && entry[part] != '=')
            entry = {};
        consumed = part + 1;
    }
    const std::size_t before = out.size();
    if (entry.empty())
        return 0;
    append_characters(entry.substr(entry.find_first_of(";=") + 1), out);
    if (out.size() - before <= consumed)
        return consumed;
    out.resize(before);
    return 0;
}

} // namespace

std::size_t resolve_reference(std::string_view text, std::string& out) {
    return text.size() > 1 && text[1] == '#' ? resolve_number(text, out) : resolve_name(text, out);
}

} // namespace orvek
