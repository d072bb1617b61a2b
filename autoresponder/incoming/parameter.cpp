#include "autoresponder/incoming/parameter.h"

#include "autoresponder/run/number.h"
#include "base/text.h"
#include "mimelib/field_text.h"

#include <array>
#include <optional>

namespace {

/// More than a parameter can need.
constexpr std::size_t most_pieces = 32;
constexpr std::size_t longest_value = 1000;

using Pieces = std::array<std::optional<std::string>, most_pieces>;

/// "%41" is "A"; what is malformed stays.
std::string percent_decode(std::string_view text) {
    std::string decoded;
    while (!text.empty()) {
        const auto byte = text.front() == '%' ? hex_byte(text.substr(1)) : std::nullopt;
        decoded += byte.value_or(text.front());
        text.remove_prefix(byte ? 3 : 1);
    }
    return decoded;
}

/// Behind the charset and the language that an encoded value begins with.
std::string_view without_charset(std::string_view value) {
    const std::size_t first = value.find('\'');
    const std::size_t second =
        first == std::string_view::npos ? first : value.find('\'', first + 1);
    return second == std::string_view::npos ? value : value.substr(second + 1);
}

/// Keeps a piece whose name has `section` behind the parameter's: "*", "*0" or "*0*".
void keep_piece(std::string_view section, std::string_view value, Pieces& pieces) {
    section.remove_prefix(1);
    const bool encoded = section.empty() || section.back() == '*';
    if (!section.empty() && encoded)
        section.remove_suffix(1);
    const std::size_t number =
        section.empty() ? 0 : whole_number<std::size_t>(section).value_or(most_pieces);
    if (number >= most_pieces || pieces[number])
        return;
    if (encoded)
        pieces[number] = percent_decode(number == 0 ? without_charset(value) : value);
    else
        pieces[number] = value;
}

} // namespace

std::string shown_parameter(const DwMediaType& type, std::string_view name) {
    Pieces pieces;
    for (auto parameter = type.FirstParameter(); parameter; parameter = parameter->Next()) {
        const std::string_view attribute = parameter->Attribute().view();
        const std::string_view value = parameter->Value().view();
        if (value.size() > longest_value ||
            !equals_ignoring_case(attribute.substr(0, name.size()), name))
            continue;
        if (attribute.size() == name.size())
            return std::string(value);
        if (attribute[name.size()] == '*')
            keep_piece(attribute.substr(name.size()), value, pieces);
    }
    std::string whole;
    for (std::size_t number = 0; number < most_pieces && pieces[number]; ++number)
        whole += *pieces[number];
    return whole;
}

bool is_attachment(const DwEntity& entity) {
    for (DwFieldReader field(entity.Headers().AsString().view()); field.Next();) {
        if (equals_ignoring_case(field.Name(), "content-disposition"))
            return equals_ignoring_case(mimelib::Scanner(field.Body()).take_word(";("),
                                        "attachment");
    }
    return false;
}
