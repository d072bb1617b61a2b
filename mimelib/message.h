// Messages, their bodies and body parts (RFC 5322, RFC 2046). Line ends may be LF or CRLF, mixed.
#pragma once

#include "mimelib/component.h"
#include "mimelib/headers.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

namespace mimelib {

/// Where the header of a message begins: behind the line that files of mail have in front of each
/// (RFC 4155; "From " without a colon behind the name), if there is one.
std::size_t start_of_header(std::string_view text);

} // namespace mimelib

class DwBodyPart;

/// The body of an entity.
class DwBody : public DwMessageComponent {
public:
    /// `boundary` is empty for a body that has no parts. Blanks at its end, where it must not have
    /// any, play no part: the lines that it occurs in lose theirs on the way.
    DwBody(const DwString& text, const DwString& boundary);

    /// None when the body has no parts.
    std::optional<DwBodyPart> FirstBodyPart() const;

private:
    /// What the lines between the parts begin with; empty for a body that has no parts.
    DwString delimiter_;
};

/// Something with a header and a body: a message or a body part.
class DwEntity : public DwMessageComponent {
public:
    /// Both are empty until the entity has been parsed.
    const DwHeaders& Headers() const { return headers_; }
    const DwBody& Body() const { return body_; }

protected:
    explicit DwEntity(const DwString& text) : DwMessageComponent(text) {}

    /// Splits the text from `start` on into header and body.
    void parse_from(std::size_t start);

private:
    DwHeaders headers_{DwString()};
    DwBody body_{DwString(), DwString()};
};

/// A whole message.
class DwMessage : public DwEntity {
public:
    /// Shares the text. Nothing is parsed yet.
    static std::unique_ptr<DwMessage> NewMessage(const DwString& text);

    /// Parses header and body. A leading mbox line is passed over; a message without an empty line
    /// is all header. Any text can be parsed.
    void Parse();

private:
    explicit DwMessage(const DwString& text) : DwEntity(text) {}
};

/// A direct part of a multipart, already parsed. It keeps the body that it stands in.
class DwBodyPart : public DwEntity {
public:
    /// The part behind this one; none behind the last.
    std::optional<DwBodyPart> Next() const { return first_of(rest_, delimiter_); }

private:
    friend class DwBody;

    /// The part that `text` begins with: what a body has behind a delimiter line.
    static std::optional<DwBodyPart> first_of(const DwString& text, const DwString& delimiter);

    explicit DwBodyPart(const DwString& text) : DwEntity(text) { parse_from(0); }

    DwString rest_;
    DwString delimiter_;
};

/// To be called once before the first message is parsed. There is nothing to set up: the tables of
/// this library are constants.
void DwInitialize();
