#include "autoresponder/incoming/subject.h"

#include "base/text.h"
#include "mimelib/transfer.h"
#include "reading/shown_charset.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace {

/// More than mail servers let a field have (Postfix, by default) and mail programs show.
constexpr std::size_t longest_subject = 102'400;

/// White space around the end of a line becomes one blank.
std::string unfold(std::string_view field) {
    std::string text;
    text.reserve(field.size());
    std::string_view line;
    for (bool more = true; more;) {
        more = take_line(field, line);
        const std::size_t start = line.find_first_not_of(" \t\r");
        if (start == std::string_view::npos)
            continue;
        if (!text.empty())
            text += ' ';
        text += line.substr(start);
        if (more)
            text.erase(text.find_last_not_of(" \t\r") + 1);
    }
    return text;
}

/// An encoded word: "=?charset*language?encoding?data?=".
struct EncodedWord {
    std::string charset; // in lower case
    bool base64;
    std::string_view data;
    std::size_t length;

    /// "=41" is "A" and "_" a blank where it is not Base64; what is malformed stays.
    std::string decoded() const {
        std::string text(data);
        DwString bytes;
        if (base64) {
            DwDecodeBase64(DwString(text), bytes);
        } else {
            std::replace(text.begin(), text.end(), '_', ' ');
            DwDecodeQuotedPrintable(DwString(text), bytes);
        }
        return bytes.str();
    }
};

/// Decodes a subject piece by piece.
class Subject {
public:
    explicit Subject(std::string_view field) : field_(field), last_end_(field.rfind("?=")) {}

    std::string decode() {
        std::size_t plain = 0; // where the text begins that is in no word
        std::size_t at = field_.find("=?");
        while (at != std::string_view::npos) {
            const std::optional<EncodedWord> word = word_at(at);
            if (word) {
                take_plain(field_.substr(plain, at - plain), true);
                take_word(*word);
                plain = at + word->length;
            }
            at = field_.find("=?", word ? plain : at + 2);
        }
        take_plain(field_.substr(plain), false);
        return std::move(decoded_);
    }

private:
    static constexpr std::size_t longest_charset = 128;

    /// The word that begins at `start`, if one does. Looks for its end only when everything before
    /// that is as it must be, so that no part of the field is gone through many times.
    std::optional<EncodedWord> word_at(std::size_t start) {
        const std::string_view text = field_.substr(start);
        const std::size_t charset_end = text.substr(0, longest_charset).find('?', 2);
        if (charset_end == std::string_view::npos || text.size() < charset_end + 3 ||
            text[charset_end + 2] != '?')
            return std::nullopt;
        const char encoding = to_lower(text[charset_end + 1]);
        const std::size_t data = charset_end + 3;
        if ((encoding != 'q' && encoding != 'b') || last_end_ == std::string_view::npos ||
            start + data > last_end_)
            return std::nullopt;
        const std::string_view charset = text.substr(2, charset_end - 2);
        std::string name = to_lower(charset.substr(0, charset.find('*')));
        if (name.empty() || name.find_first_of(" \t") != std::string::npos || !charsets_.know(name))
            return std::nullopt;
        const std::size_t end = text.find("?=", data);
        return EncodedWord{std::move(name), encoding == 'b', text.substr(data, end - data),
                           end + 2};
    }

    /// Blanks between two words are not part of the text.
    void take_plain(std::string_view plain, bool before_word) {
        if (before_word && !charset_.empty() &&
            plain.find_first_not_of(" \t") == std::string_view::npos)
            return;
        finish_words();
        decoded_ += charsets_.to_utf8(plain, "");
    }

    void take_word(const EncodedWord& word) {
        if (word.charset != charset_)
            finish_words();
        charset_ = word.charset;
        bytes_ += word.decoded();
    }

    void finish_words() {
        if (!charset_.empty())
            decoded_ += charsets_.to_utf8(bytes_, charset_);
        bytes_.clear();
        charset_.clear();
    }

    std::string_view field_;
    std::size_t last_end_;
    orvek::ShownCharsets charsets_;
    std::string decoded_;
    std::string charset_; // of the words that came last; empty behind other text
    std::string bytes_;   // that they hold
};

} // namespace

std::string shown_subject(std::string_view field) {
    const std::string unfolded = unfold(field.substr(0, longest_subject));
    return Subject(unfolded).decode();
}

std::string without_controls(std::string text) {
    std::size_t kept = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool beyond_ascii = text[at] == '\xc2' && at + 1 < text.size() &&
                                  static_cast<unsigned char>(text[at + 1]) < 0xa0;
        text[kept++] = beyond_ascii || is_control(text[at]) ? ' ' : text[at];
        at += beyond_ascii;
    }
    text.resize(kept);
    return text;
}
