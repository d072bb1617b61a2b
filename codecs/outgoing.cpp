#include "codecs/outgoing.h"

#include "base/text.h"
#include "codecs/base64.h"
#include "codecs/charset.h"
#include "codecs/idn.h"
#include "codecs/utf8.h"

#include <algorithm>
#include <stdexcept>

namespace orvek::outgoing {

namespace {

constexpr std::size_t preferred_line = 76;
constexpr std::size_t max_encoded_word = 75;
constexpr std::size_t frame = 12; // "=?utf-8?Q?" and "?="

/// Well-formed UTF-8 without what has no place in a header: control characters, blanks at the end.
std::string cleaned(std::string_view text) {
    std::string clean = without_ill_formed_utf8(text);
    std::replace_if(clean.begin(), clean.end(), is_control, ' ');
    return clean.erase(clean.find_last_not_of(' ') + 1);
}

/// Length of the character that well-formed `text` begins with; 0 at its end.
std::size_t character_length(std::string_view text) {
    std::size_t length = text.empty() ? 0 : 1;
    while (length < text.size() && continues_character(text[length]))
        ++length;
    return length;
}

std::string q_form(std::string_view text) {
    std::string encoded = escaped(text, "=", [](char c) { return is_alphanumeric(c) || c == ' '; });
    std::replace(encoded.begin(), encoded.end(), ' ', '_');
    return encoded;
}

std::string b_form(std::string_view text) {
    std::string encoded((text.size() + 2) / 3 * 4 + 1, '\0');
    base64Encode(reinterpret_cast<const unsigned char*>(text.data()), text.size(), encoded.data());
    encoded.pop_back();
    return encoded;
}

/// A field's value as it grows, line by line.
class FoldedLines {
public:
    explicit FoldedLines(std::size_t used) : column_(used) {}

    const std::string& text() const { return lines_; }

    /// A word behind the blanks that stand before it. The line ends in front of the last of these
    /// where the word would not fit any more.
    void word(std::string_view blanks, std::string_view word) {
        start_word(blanks, word.size());
        append(word);
    }

    /// The same for text that goes into encoded words, as many as it takes.
    void encoded(std::string_view blanks, std::string_view text) {
        const bool as_b = b_form(text).size() < q_form(text).size();
        const auto form = as_b ? b_form : q_form;
        start_word(blanks, std::min(max_encoded_word, frame + form(text).size()));
        while (!text.empty()) {
            std::size_t end = 0, next = 0;
            do {
                end += next;
                next = character_length(text.substr(end));
            } while (next > 0 && (end == 0 || form(text.substr(0, end + next)).size() <= room()));
            append(concat({as_b ? "=?utf-8?B?" : "=?utf-8?Q?", form(text.substr(0, end)), "?="}));
            text.remove_prefix(end);
            if (!text.empty())
                start_line();
        }
    }

private:
    /// What an encoded word that begins here may hold.
    std::size_t room() const {
        const std::size_t left = column_ < preferred_line ? preferred_line - column_ : 0;
        return std::max(std::min(left, max_encoded_word), frame) - frame;
    }

    void append(std::string_view text) {
        lines_ += text;
        column_ += text.size();
    }

    void start_line() {
        lines_ += "\n ";
        column_ = 1;
    }

    void start_word(std::string_view blanks, std::size_t size) {
        if (blanks.empty() || lines_.empty() || column_ + blanks.size() + size <= preferred_line)
            return append(blanks);
        append(blanks.substr(1));
        start_line();
    }

    std::string lines_;
    std::size_t column_;
};

/// Whether a word of header text cannot stand as it is.
bool needs_encoding(std::string_view word) {
    return word.size() > max_line / 2 || word.find("=?") != std::string_view::npos ||
           !std::all_of(word.begin(), word.end(), is_ascii);
}

/// The next word behind its blanks, taken off the front of `text`.
struct Word {
    std::string_view blanks;
    std::string_view text;

    static Word take(std::string_view& text) {
        const std::size_t start = std::min(text.find_first_not_of(' '), text.size());
        const std::size_t end = std::min(text.find(' ', start), text.size());
        const Word word{text.substr(0, start), text.substr(start, end - start)};
        text.remove_prefix(end);
        return word;
    }
};

} // namespace

std::string header_text(std::string_view text, std::size_t used) {
    const std::string clean = cleaned(text);
    FoldedLines lines(used);
    std::string_view rest = clean;
    while (!rest.empty()) {
        const Word first = Word::take(rest);
        if (!needs_encoding(first.text)) {
            lines.word(first.blanks, first.text);
            continue;
        }
        std::size_t size = first.text.size();
        for (std::string_view behind = rest; !behind.empty();) {
            const Word next = Word::take(behind);
            if (!needs_encoding(next.text))
                break;
            size += next.blanks.size() + next.text.size();
            rest = behind;
        }
        lines.encoded(first.blanks, {first.text.data(), size});
    }
    return lines.text();
}

std::string folded(std::string_view value, std::size_t used) {
    std::string lines(value);
    for (std::size_t start = 0; lines.size() - start + used > max_line; used = 0) {
        const std::size_t end = start + max_line - used;
        const std::size_t blank = lines.find_last_of(" ", end);
        const std::size_t comma = lines.find_last_of(",", end - 1);
        if (blank != std::string::npos && blank > start) {
            lines.insert(blank, 1, '\n');
            start = blank + 1;
        } else if (comma != std::string::npos && comma > start) {
            lines.insert(comma + 1, "\n ");
            start = comma + 2;
        } else {
            break;
        }
    }
    return lines;
}

std::string extended_parameter(std::string_view name, std::string_view value) {
    const auto may_stay = [](char c) {
        return is_alphanumeric(c) || c == '.' || c == '-' || c == '_';
    };
    return concat({name, "*=utf-8''", escaped(cleaned(value), "%", may_stay)});
}

bool needs_quoted_printable(std::string_view text) {
    std::size_t line = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\0' || (text[i] == '\r' && text.substr(i + 1, 1) != "\n"))
            return true;
        line = text[i] == '\n' ? 0 : line + 1;
        if (line > max_line)
            return true;
    }
    return false;
}

std::string quoted_printable(std::string_view text) {
    std::string encoded;
    std::string_view line;
    for (bool more = true; more;) {
        more = take_line(text, line);
        if (more && line.ends_with('\r'))
            line.remove_suffix(1);
        for (std::size_t column = 0, i = 0; i < line.size(); ++i) {
            const char c = line[i];
            const bool is_blank = c == ' ' || c == '\t';
            const bool literal = is_blank ? i + 1 < line.size() : c > ' ' && c < 127 && c != '=';
            const std::string form = literal ? std::string(1, c) : hex_form("=", c);
            // One column stays for the "=" of a soft line break.
            if (column + form.size() >= preferred_line) {
                encoded += "=\n";
                column = 0;
            }
            encoded += form;
            column += form.size();
        }
        encoded.append(more ? "\n" : "");
    }
    return encoded;
}

std::string with_ascii_domains(std::string_view addresses) {
    std::string converted;
    while (!addresses.empty()) {
        const std::size_t at = std::min(addresses.find('@'), addresses.size());
        const std::size_t end =
            std::min(addresses.find_first_of(" \t,;<>()\"", at), addresses.size());
        converted += addresses.substr(0, at);
        converted += idn::ascii_form(std::string(addresses.substr(at, end - at)));
        addresses.remove_prefix(end);
    }
    return converted;
}

bool holds_ascii(const std::string& charset) {
    static const std::string text = "AZaz09 \"%&'()*+,-./:;<=>?_\r\n";
    try {
        return iconvRecode(text, "UTF-8", charset, false) == text;
    } catch (const std::runtime_error&) {
        return false;
    }
}

} // namespace orvek::outgoing
