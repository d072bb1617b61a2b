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

constexpr std::size_t most_held = 64;

/// At most `most_held` characters and the letter before them in their normal form.
std::string normalised(const std::string& text, Case letters) {
    // No character decomposes to more than four, and none of those folds to more than three.
    std::array<utf8proc_int32_t, (most_held + 1) * 12> characters;
    const auto options =
        static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE | UTF8PROC_IGNORE |
                                       (letters == Case::ignored ? UTF8PROC_CASEFOLD : 0));
    const utf8proc_ssize_t count =
        utf8proc_decompose(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                           static_cast<utf8proc_ssize_t>(text.size()), characters.data(),
                           static_cast<utf8proc_ssize_t>(characters.size() - 1), options);
    if (count < 0 || static_cast<std::size_t>(count) >= characters.size())
        return text;
    const utf8proc_ssize_t length = utf8proc_reencode(characters.data(), count, options);
    return length < 0 ? text
                      : std::string(reinterpret_cast<const char*>(characters.data()),
                                    static_cast<std::size_t>(length));
}

} // namespace

// The inner functions stand inline: they are called for every character.

/// Writes what was held.
inline void Paragraphs::release() {
    if (held_count_ == 0)
        return;
    if (held_count_ == 1 && held_stays_)
        out_ += held_;
    else
        out_ += normalised(held_, letters_);
    held_.clear();
    held_count_ = 0;
    ends_in_letter_ = false;
}

/// Writes what the white space comes to.
inline void Paragraphs::end_white() {
    if (!white_)
        return;
    release();
    out_ += line_ends_ > 1 && !one_line_ ? '\n' : ' ';
    ends_in_letter_ = false;
    white_ = false;
    line_ends_ = 0;
}

inline void Paragraphs::add_graphic(std::string_view text) {
    end_white();
    release();
    const std::size_t start = out_.size();
    out_ += text;
    for (std::size_t at = start; letters_ == Case::ignored && at < out_.size(); ++at)
        out_[at] = to_lower(out_[at]);
    ends_in_letter_ = true;
}

inline void Paragraphs::hold(std::int32_t code, std::string_view bytes) {
    const utf8proc_property_t& property = *utf8proc_get_property(code);
    if (held_count_ >= most_held || !may_combine(code, property)) {
        release();
    } else if (held_count_ == 0 && ends_in_letter_) {
        held_ += out_.back();
        out_.pop_back();
        ++held_count_;
    }
    if (held_count_ == 0)
        held_stays_ = stays(property, letters_);
    held_ += bytes;
    ++held_count_;
    ends_in_letter_ = false;
}

/// Takes one character, or a byte that is none; returns how many bytes that were.
inline std::size_t Paragraphs::add_front(std::string_view text) {
    const auto [code, length] = first_character(text);
    if (is_white(code)) {
        white_ = true;
        line_ends_ += code == '\n';
    } else if (!is_unseen(code)) {
        end_white();
        if (code == Character::none) {
            release();
            out_ += text.front();
            ends_in_letter_ = false;
        } else {
            hold(code, text.substr(0, length));
        }
    }
    return length;
}

Paragraphs::Paragraphs(Case letters, std::size_t expected, bool one_line)
    : letters_(letters), one_line_(one_line) {
    out_.reserve(expected);
}

void Paragraphs::add(std::string_view piece) {
    while (!piece.empty()) {
        const std::size_t graphic = graphic_length(piece);
        if (graphic > 0)
            add_graphic(piece.substr(0, graphic));
        piece.remove_prefix(graphic > 0 ? graphic : add_front(piece));
    }
}

std::string Paragraphs::finish() {
    end_white();
    release();
    return std::move(out_);
}

std::string letters_of_line(std::string_view text, Case letters) {
    Paragraphs line(letters, text.size(), true);
    line.add(text);
    return line.finish();
}

bool shows_text(std::string_view text) {
    while (!text.empty()) {
        const auto [code, length] = first_character(text);
        if (!is_white(code) && !is_unseen(code))
            return true;
        text.remove_prefix(length);
    }
    return false;
}

} // namespace orvek
