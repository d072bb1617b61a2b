// The parts of a mail as mail programs tell them apart, multiparts within multiparts included.
#pragma once

#include "mimelib/mimelib.h"

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// What a part is to a mail program. Of alternatives the first three come in this order.
enum class PartKind { plain, html_or_multipart, other_text, nothing };

/// A part without a type is plain text; attachments, digests and what is no text are nothing.
PartKind kind_of(const DwEntity& entity);

/// Walks over the parts that have no parts themselves, and reads the body of every multipart once.
/// Of nested multiparts the outer 16 are entered, and 10,000 parts looked at. Keeps the mail.
class PartWalk {
public:
    enum class Over {
        shown, ///< those that may give a text, of alternatives the best first
        all,   ///< in their order, what is attached and forwarded mails (RFC 2046) as well
    };

    PartWalk(const DwMessage& mail, Over over);

    /// Moves to the next part; false behind the last.
    bool next();

    const DwEntity& part() const { return levels_.back().part().entity; }
    /// "1", of parts within parts "2.1"; empty for the mail itself.
    std::string number() const;

private:
    struct Part {
        DwEntity entity;
        std::size_t number;
    };

    /// The direct parts of a multipart, or a mail by itself.
    class Level {
    public:
        explicit Level(const DwEntity& mail) : waiting_{{PartKind::plain, {mail, 1}}} {}
        Level(const DwEntity& multipart, Over over);

        /// Moves to the next part; `left` counts down with every part that is looked at.
        bool next(std::size_t& left);
        const Part& part() const { return *part_; }

    private:
        Over over_ = Over::all;
        bool alternatives_ = false;
        std::optional<DwBodyPart> unread_;
        std::size_t count_ = 0;
        std::optional<Part> part_;
        /// Alternatives to be given when all have been read.
        std::multimap<PartKind, Part> waiting_;
    };

    Over over_;
    std::size_t left_;
    std::vector<Level> levels_;
};
