#include "reading/letters.h"

#include "base/text.h"
#include "reading/characters.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utf8proc.h>
#include <utility>

namespace orvek {

namespace {

/// How many characters at the front are ASCII and seen.
std::size_t graphic_length(std::string_view text) {
    std::size_t length = 0;
    while (length < text.size() && text[length] > ' ' && text[length] < 0x7f)
        ++length;
    return length;
}

bool is_white(utf8proc_int32_t c) {
    return c == ' ' || (c >= '\t' && c <= '\r') || c == 0x85 || c == 0xa0 || c == 0x1680 ||
           (c >= 0x2000 && c <= 0x200a) || c == 0x2028 || c == 0x2029 || c == 0x202f ||
           c == 0x205f || c == 0x3000;
}

/// Whether the character may become one with what stands before it, or trade places with it.
bool may_combine(utf8proc_int32_t c, const utf8proc_property_t& property) {
    return property.category == UTF8PROC_CATEGORY_MN || property.category == UTF8PROC_CATEGORY_MC ||
           (c >= 0x1161 && c <= 0x1175) || (c >= 0x11a8 && c <= 0x11c2);
}

/// Whether the character by itself is its own normal form.
bool stays(const utf8proc_property_t& property, Case letters) {
    constexpr unsigned none = 0xffff;
    return property.decomp_seqindex == none &&
           (letters == Case::counts || property.casefold_seqindex == none);
}

/// Writes characters in their normal form as they come.
class Normaliser {
public:
    Normaliser(std::string& out, Case letters) : out_(out), letters_(letters) {}

    /// ASCII that is seen, one or many.
    void put_ascii(std::string_view text) {
        flush();
        const std::size_t start = out_.size();
        out_ += text;
        if (letters_ == Case::ignored) {
            for (std::size_t at = start; at < out_.size(); ++at)
                out_[at] = to_lower(out_[at]);
        }
        // A mark may follow, which makes one character with the last.
        can_take_back_ = true;
    }

    void put(Character front, std::string_view bytes) {
        if (front.code == Character::none)
            put_as_it_is(bytes.front());
        else
            put_beyond_ascii(front.code, bytes);
    }

    /// White space, or a byte that is no character.
    void put_as_it_is(char c) {
        flush();
        out_ += c;
        can_take_back_ = false;
    }

    /// Writes what was held back until it was clear what follows it.
    void flush() {
        if (held_count_ == 0)
            return;
        if (held_count_ > 1 || !held_stays_)
            normalise_held();
        out_ += held_;
        held_.clear();
        held_count_ = 0;
        can_take_back_ = false;
    }

private:
    static constexpr std::size_t most_held = 64;

    void put_beyond_ascii(utf8proc_int32_t c, std::string_view bytes) {
        const utf8proc_property_t& property = *utf8proc_get_property(c);
        if (held_count_ >= most_held || !may_combine(c, property)) {
            flush();
        } else if (held_count_ == 0 && can_take_back_) {
            held_ += out_.back();
            out_.pop_back();
            ++held_count_;
        }
        if (held_count_ == 0)
            held_stays_ = stays(property, letters_);
        held_ += bytes;
        ++held_count_;
        can_take_back_ = false;
    }

    void normalise_held() {
        // No character decomposes to more than four, and none of those folds to more than three.
        std::array<utf8proc_int32_t, (most_held + 1) * 12> characters;
        const auto options =
            static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE | UTF8PROC_IGNORE |
                                           (letters_ == Case::ignored ? UTF8PROC_CASEFOLD : 0));
        const utf8proc_ssize_t count =
            utf8proc_decompose(reinterpret_cast<const utf8proc_uint8_t*>(held_.data()),
                               static_cast<utf8proc_ssize_t>(held_.size()), characters.data(),
                               static_cast<utf8proc_ssize_t>(characters.size() - 1), options);
        if (count < 0 || static_cast<std::size_t>(count) >= characters.size())
            return;
        const utf8proc_ssize_t length = utf8proc_reencode(characters.data(), count, options);
        if (length >= 0)
            held_.assign(reinterpret_cast<const char*>(characters.data()),
                         static_cast<std::size_t>(length));
    }

    std::string& out_;
    Case letters_;
    std::string held_;
    std::size_t held_count_ = 0;
    bool held_stays_ = false;
    bool can_take_back_ = false;
};

/// A run of white space and what is not seen within it.
class White {
public:
    void add(utf8proc_int32_t c) {
        any_ = true;
        lines_ += c == '\n';
    }

    void write(Normaliser& out, bool paragraphs) {
        if (any_)
            out.put_as_it_is(paragraphs && lines_ > 1 ? '\n' : ' ');
        *this = White();
    }

private:
    bool any_ = false;
    std::size_t lines_ = 0;
};

/// Writes the letters of a text as its pieces come.
class LetterWriter {
public:
    LetterWriter(Case letters, bool paragraphs, std::size_t expected)
        : paragraphs_(paragraphs), normaliser_(out_, letters) {
        out_.reserve(expected);
    }
    LetterWriter(const LetterWriter&) = delete;
    LetterWriter& operator=(const LetterWriter&) = delete;

    void add(std::string_view text) {
        while (!text.empty()) {
            const std::size_t graphic = graphic_length(text);
            if (graphic > 0) {
                white_.write(normaliser_, paragraphs_);
                normaliser_.put_ascii(text.substr(0, graphic));
            }
            text.remove_prefix(graphic > 0 ? graphic : add_front(text));
        }
    }

    std::string finish() {
        white_.write(normaliser_, paragraphs_);
        normaliser_.flush();
        return std::move(out_);
    }

private:
    /// Returns how many bytes that took.
    std::size_t add_front(std::string_view text) {
        const Character front = first_character(text);
        if (is_white(front.code)) {
            white_.add(front.code);
        } else if (!is_unseen(front.code)) {
            white_.write(normaliser_, paragraphs_);
            normaliser_.put(front, text.substr(0, front.length));
        }
        return front.length;
    }

    std::string out_;
    bool paragraphs_;
    Normaliser normaliser_;
    White white_;
};

} // namespace

std::string letters_of_line(std::string_view text, Case letters) {
    LetterWriter writer(letters, false, text.size());
    writer.add(text);
    return writer.finish();
}

bool shows_text(std::string_view text) {
    while (!text.empty()) {
        const Character front = first_character(text);
        if (!is_white(front.code) && !is_unseen(front.code))
            return true;
        text.remove_prefix(front.length);
    }
    return false;
}

class Paragraphs::Writer : public LetterWriter {
public:
    using LetterWriter::LetterWriter;
};

Paragraphs::Paragraphs(Case letters, std::size_t expected)
    : writer_(std::make_unique<Writer>(letters, true, expected)) {}

Paragraphs::~Paragraphs() = default;

void Paragraphs::add(std::string_view piece) {
    writer_->add(piece);
}

std::string Paragraphs::finish() {
    return writer_->finish();
}

} // namespace orvek
