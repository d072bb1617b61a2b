// Messages, their bodies and body parts (RFC 5322, RFC 2046). Line ends may be LF or CRLF, mixed.
#pragma once

#include "mimelib/component.h"
#include "mimelib/headers.h"

#include <memory>
#include <optional>
#include <string>

/// The body of an entity.
class DwBody : public DwMessageComponent {
public:
    /// `boundary` is empty for a body that has no parts.
    DwBody(const DwString& text, const DwString& boundary);

    /// What the lines between the parts begin with; empty for a body that has no parts.
    const std::string& Delimiter() const { return delimiter_; }

private:
    std::string delimiter_;
};

/// Something with a header and a body: a message or a body part.
class DwEntity : public DwMessageComponent {
public:
    /// Both are empty until the entity has been parsed.
    const DwHeaders& Headers() const { return *headers_; }
    const DwBody& Body() const { return *body_; }

protected:
    explicit DwEntity(const DwString& text)
        : DwMessageComponent(text), headers_(std::in_place, DwString()),
          body_(std::in_place, DwString(), DwString()) {}

    /// Splits the text from `start` on into header and body.
    void parse_from(std::size_t start);

private:
    // Never without a value: optional is what lets a parse replace them.
    std::optional<DwHeaders> headers_;
    std::optional<DwBody> body_;
};

/// A whole message.
class DwMessage : public DwEntity {
public:
    /// Shares the text. Nothing is parsed yet.
    static std::unique_ptr<DwMessage> NewMessage(const DwString& text);

    /// Parses header and body. A leading mbox line ("From " without a colon behind the name) is
    /// passed over; a message without an empty line is all header. Any text can be parsed.
    void Parse();

private:
    explicit DwMessage(const DwString& text) : DwEntity(text) {}
};

/// A direct part of a multipart, already parsed.
class DwBodyPart : public DwEntity {
public:
    explicit DwBodyPart(const DwString& text) : DwEntity(text) { parse_from(0); }
};

/// Walks over the direct parts of a multipart's body.
class DwBodyPartReader {
public:
    /// `body` must outlive the reader.
    explicit DwBodyPartReader(const DwBody& body);

    /// Moves to the next part; false behind the last.
    bool Next();

    /// The part, until the next call of Next().
    const DwBodyPart& Part() const { return *part_; }

private:
    const DwBody& body_;
    std::size_t position_;
    std::optional<DwBodyPart> part_;
};

/// To be called once before the first message is parsed. There is nothing to set up: the tables of
/// this library are constants.
void DwInitialize();
