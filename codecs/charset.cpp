#include "codecs/charset.h"

#include "base/base64_alphabet.h"
#include "base/report.h"
#include "base/text.h"
#include "codecs/conversion.h"
#include "codecs/utf8.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <initializer_list>
#include <map>
#include <stdexcept>
#include <string_view>

namespace orvek {

namespace {

constexpr std::string_view blanks = " \t";

/// What is to be said about one text. A stranger can have a complaint for every byte, so of each
/// kind (its fixed text) the first hundred are written as they come up, and how many more there
/// were when the text is done.
class Complaints {
public:
    Complaints& operator=(Complaints&&) = delete; // is neither copied nor moved
    ~Complaints() {
        for (const auto& [problem, count] : counts_) {
            if (count > most)
                say({problem, std::to_string(count - most), " more"});
        }
    }

    /// `problem` is a literal.
    void complain(const char* problem, std::string_view about) {
        if (++counts_[problem] <= most)
            say({problem, about});
    }

private:
    static constexpr std::size_t most = 100;

    std::map<std::string_view, std::size_t> counts_;
};

bool is_utf8(const std::string& charset) {
    return equals_ignoring_case(until_nul(charset), "UTF-8");
}

/// Converters that stay loaded while a text is decoded. Opening a conversion loads them from files
/// and closing it may unload them, so that a text whose charset changes with every word would take
/// hundreds of times as long as its length warrants.
using LoadedCharsets = std::map<std::string, Conversion>;

/// One name for everything that iconv takes as the same: case, suffixes and most marks play no
/// part. So there are never more names than charsets and aliases.
std::string plain_name(std::string_view charset) {
    std::string name = to_lower(charset.substr(0, charset.find('/')));
    std::erase_if(name, [](char c) { return !is_alphanumeric(c); });
    return name;
}

/// The 6-bit value of the next symbol at or behind `pos`; 0, without moving, at "=" and at the end.
unsigned base64Take(const std::string& s, std::size_t& pos, Complaints& complaints) {
    for (; pos < s.size(); ++pos) {
        const char c = s[pos];
        const unsigned value = base64Inv[static_cast<unsigned char>(c)];
        if (value < 64)
            return ++pos, value;
        if (c == '=')
            return 0;
        if (c != ' ' && c != '\t' && c != '\n' && c != '\r')
            complaints.complain("Bad base64 symbol: ", {&c, 1});
    }
    return 0;
}

std::string base64_decode(const std::string& text, Complaints& complaints) {
    std::string bytes;
    for (std::size_t pos = 0;;) {
        const std::size_t start = pos;
        const unsigned first = base64Take(text, pos, complaints);
        const unsigned second = base64Take(text, pos, complaints);
        const unsigned third = base64Take(text, pos, complaints);
        const unsigned fourth = base64Take(text, pos, complaints);
        const std::size_t consumed = pos - start;
        if (consumed == 0)
            return bytes;
        bytes += static_cast<char>(first << 2 | second >> 4);
        if (consumed >= 3)
            bytes += static_cast<char>(second << 4 | third >> 2);
        if (consumed >= 4)
            bytes += static_cast<char>(third << 6 | fourth);
    }
}

/// The byte that "=" and up to two characters behind it stand for, read as strtoul reads base 16.
char q_byte(const std::string& digits, Complaints& complaints) {
    char* end = nullptr;
    const unsigned long value = std::strtoul(digits.c_str(), &end, 16);
    if (end == digits.c_str() && !digits.empty())
        complaints.complain("Bad hex in quoted-printable string: ", digits);
    return static_cast<char>(value & 0xff);
}

std::string q_decode(std::string_view data, Complaints& complaints) {
    std::string bytes;
    bytes.reserve(data.size());
    for (std::size_t i = 0; i < data.size(); ++i) {
        if (data[i] == '_') {
            bytes += ' ';
        } else if (data[i] == '=') {
            const std::string_view digits = data.substr(i + 1, 2);
            bytes += q_byte(std::string(digits), complaints);
            i += digits.size();
        } else {
            bytes += data[i];
        }
    }
    return bytes;
}

/// Decodes a word without blanks: "=?charset?encoding?data?=" and whatever follows it.
std::string rfc1522_decode_word(std::string_view w, LoadedCharsets& loaded, Complaints& complaints,
                                bool flush) {
    if (w.substr(0, 2) != "=?")
        return std::string(w);
    const auto unchanged = [&](const char* problem) {
        complaints.complain(problem, w);
        return std::string(w);
    };
    const std::size_t charset_end = w.find('?', 2);
    if (charset_end == std::string_view::npos)
        return unchanged("wrong rfc1522 sequence (no charset): ");
    const std::size_t encoding_end = w.find('?', charset_end + 1);
    if (encoding_end == std::string_view::npos)
        return unchanged("wrong rfc1522 sequence (no encoding): ");
    const std::size_t data_end = w.find("?=", encoding_end + 1);
    if (data_end == std::string_view::npos)
        return unchanged("wrong rfc1522 sequence (no data): ");
    const std::string_view trailing = w.substr(data_end + 2);
    if (!trailing.empty())
        complaints.complain("wrong rfc1522 sequence (trailing stuff): ", w);
    const std::string_view encoding = w.substr(charset_end + 1, encoding_end - charset_end - 1);
    const std::string_view data = w.substr(encoding_end + 1, data_end - encoding_end - 1);
    const std::string charset(w.substr(2, charset_end - 2));
    std::string bytes;
    if (equals_ignoring_case(encoding, "q"))
        bytes = q_decode(data, complaints);
    else if (equals_ignoring_case(encoding, "b"))
        bytes = base64_decode(std::string(data), complaints);
    if (!is_same_in_both(bytes, charset, "utf-8"))
        loaded.try_emplace(plain_name(charset), charset, "utf-8");
    return iconvRecode(bytes, charset, "utf-8", true, flush).append(trailing);
}

bool is_between_encoded_words(std::string_view text, std::size_t blank, std::size_t word) {
    return blank >= 2 && text.substr(blank - 2, 2) == "?=" && text.substr(word, 2) == "=?";
}

bool rfc1522_nonprintable(char c) {
    return (!is_printable(c) && c != 127) || contains("!\"()*+-/=?_", {&c, 1});
}

std::string qp_encode(std::string_view s) {
    std::string encoded = escaped(s, "=", [](char c) { return !rfc1522_nonprintable(c); });
    std::replace(encoded.begin(), encoded.end(), ' ', '_');
    return encoded;
}

} // namespace

bool is_same_in_both(std::string_view text, const std::string& from, const std::string& to) {
    if (!is_utf8(to))
        return false;
    if (is_utf8(from))
        return well_formed_utf8_length(text) == text.size();
    return equals_ignoring_case(until_nul(from), "US-ASCII") && ascii_length(text) == text.size();
}

std::string iconvRecode(const std::string& text, const std::string& from, const std::string& to,
                        bool replace_invalid, bool flush) {
    if (is_same_in_both(text, from, to))
        return text;
    Conversion conversion(from, to);
    if (!conversion.is_open())
        throw std::runtime_error("Cannot convert from " + from + " to " + to);
    std::string result;
    // Enough for most charsets, so that it need not grow by copying; what stays unused is never
    // touched.
    result.reserve(2 * text.size());
    if (!conversion.convert(text, result, replace_invalid ? "?" : nullptr) ||
        (flush && !conversion.finish(result)))
        throw std::runtime_error("Conversion from " + from + " to " + to);
    if (!conversion.close())
        throw std::runtime_error("Closing conversion from " + from + " to utf-8 failed");
    return result;
}

std::string base64_decode(const std::string& text) {
    Complaints complaints;
    return base64_decode(text, complaints);
}

namespace rfc1522 {

std::string decode(std::string text, bool flush) {
    const std::string_view s = text;
    std::string decoded;
    LoadedCharsets loaded;
    Complaints complaints;
    for (std::size_t word = 0; word != std::string_view::npos;) {
        const std::size_t blank = s.find_first_of(blanks, word);
        decoded += rfc1522_decode_word(s.substr(word, blank - word), loaded, complaints, flush);
        if (blank == std::string_view::npos)
            break;
        word = s.find_first_not_of(blanks, blank);
        if (word == std::string_view::npos)
            decoded += s.substr(blank);
        else if (!is_between_encoded_words(s, blank, word))
            decoded += s.substr(blank, word - blank);
    }
    return decoded;
}

std::string encode(std::string text) {
    const auto marked = std::find_if(text.begin(), text.end(), rfc1522_nonprintable);
    if (marked == text.end())
        return text;
    const std::string_view front(text.begin(), marked), whole = text;
    const std::size_t start = front.find_last_of(blanks) + 1; // 0 for none
    return concat({whole.substr(0, start), "=?utf-8?Q?", qp_encode(whole.substr(start)), "?="});
}

} // namespace rfc1522
} // namespace orvek
