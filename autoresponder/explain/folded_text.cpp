#include "autoresponder/explain/folded_text.h"

#include "base/text.h"
#include "reading/letters.h"

#include <algorithm>
#include <bit>

namespace {

constexpr std::size_t least_piece = 1024;
constexpr std::size_t most_narrowed = 65536;

bool holds(std::string_view text, const std::string& letters) {
    return contains(orvek::letters_of_line(text, orvek::Case::ignored), letters);
}

/// The shortest part of `line`, which holds `letters`, that still does: the first one.
std::string_view narrowed(std::string_view line, const std::string& letters) {
    for (const bool from_front : {false, true}) {
        std::size_t cut = 0;
        for (std::size_t step = std::bit_floor(line.size()); step > 0; step /= 2) {
            const std::size_t more = cut + step;
            if (more <= line.size() &&
                holds(from_front ? line.substr(more) : line.substr(0, line.size() - more), letters))
                cut = more;
        }
        line = from_front ? line.substr(cut) : line.substr(0, line.size() - cut);
    }
    return line;
}

/// Where a line can be cut so that the letters of both parts are those of the whole: in front of a
/// blank behind a graphic character of ASCII, which nothing combines with.
std::size_t end_of_piece(std::string_view line) {
    for (std::size_t at = least_piece; at < line.size(); ++at) {
        if (line[at] == ' ' && line[at - 1] > ' ' && line[at - 1] < 0x7f)
            return at;
    }
    return line.size();
}

} // namespace

FoldedText::FoldedText(std::string_view text) : text_(text) {
    letters_.reserve(text.size());
    std::string_view line;
    bool more = true;
    while (more) {
        more = take_line(text, line);
        add_line(line);
        letters_ += '\n';
    }
}

void FoldedText::add_line(std::string_view line) {
    do {
        const std::string_view piece = line.substr(0, end_of_piece(line));
        pieces_.push_back({letters_.size(), static_cast<std::size_t>(piece.data() - text_.data())});
        letters_ += orvek::letters_of_line(piece, orvek::Case::ignored);
        line.remove_prefix(piece.size());
    } while (!line.empty());
}

std::size_t FoldedText::piece_at(std::size_t in_letters) const {
    const auto behind = std::ranges::upper_bound(pieces_, in_letters, {}, &Piece::in_letters);
    return static_cast<std::size_t>(behind - pieces_.begin()) - 1;
}

std::optional<TriggerFacts> FoldedText::find(std::string_view trigger) const {
    const std::string letters = orvek::letters_of_line(trigger, orvek::Case::ignored);
    const std::size_t at = letters.empty() ? std::string::npos : offset_of(letters_, letters);
    if (at == std::string::npos)
        return std::nullopt;
    const std::size_t first = pieces_[piece_at(at)].in_text;
    const std::size_t last = pieces_[piece_at(at + letters.size() - 1)].in_text;
    const std::string_view rest = text_.substr(last);
    const std::string_view line = rest.substr(0, rest.find('\n'));
    std::string_view place = text_.substr(first, last - first + end_of_piece(line));
    if (place.size() <= most_narrowed)
        place = narrowed(place, letters);
    return TriggerFacts{static_cast<std::size_t>(place.data() - text_.data()), place.size()};
}
