// Text in UTF-8 as mail programs show it, whatever its sender says of its charset.
#pragma once

#include "codecs/conversion.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace orvek {

/// The name by which iconv knows what mail programs take for the charset that a mail calls `label`,
/// by the table of the WHATWG encoding standard: iso-8859-1 is windows-1252, gb2312 is gb18030.
/// Empty for US-ASCII and for no label: mail programs then look at the text. Labels that the table
/// does not have come back in lower case. Case and blanks around a label play no part.
std::string charset_behind(std::string_view label);

/// Turns texts into UTF-8. What is found out about a charset is kept from text to text, since
/// finding a converter takes iconv longer than converting a short text.
class ShownCharsets {
public:
    /// Whether texts of the charset can be converted.
    bool know(const std::string& label);

    /// `text` in UTF-8. Without a charset that can be converted it is UTF-8 where it is valid, else
    /// windows-1252. What is no character becomes U+FFFD, and what the end cuts off is left out, as
    /// is what would make the result more than three times as long and longer than 64 KB.
    std::string to_utf8(std::string_view text, const std::string& label);

private:
    /// A mail that names more charsets than this is not one that somebody reads.
    static constexpr std::size_t most_charsets = 64;

    struct Charset {
        explicit Charset(std::string its_name) : name(std::move(its_name)) {}
        /// Opened at need.
        Conversion& conversion();
        bool is_known();

        std::string name; // as charset_behind() has it
        std::optional<Conversion> opened;
    };

    Charset& find(const std::string& label);

    std::map<std::string, Charset> charsets_;
    Charset beyond_{std::string()};
};

} // namespace orvek
