// A text in which many triggers are sought as a person reads, whatever the case of letters.
#pragma once

#include "autoresponder/run/account.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class FoldedText {
public:
    /// Folds the text's letters, once. It must outlive the object.
    explicit FoldedText(std::string_view text);

    /// Where `trigger` first occurs in one line of the text; none where it does not. Of a line with
    /// tens of thousands of bytes between two blanks the occurrence may be more than the trigger.
    std::optional<TriggerFacts> find(std::string_view trigger) const;

private:
    /// Where a line, or a part of a long one, begins.
    struct Piece {
        std::size_t in_letters;
        std::size_t in_text;
    };
    void add_line(std::string_view line);
    std::size_t piece_at(std::size_t in_letters) const;

    std::string_view text_;
    std::string letters_;
    std::vector<Piece> pieces_;
};
