// Messages, their bodies and body parts (RFC 5322, RFC 2046). Line ends may be LF or CRLF, mixed.
#pragma once

#include "mimelib/component.h"
#include "mimelib/headers.h"

#include <memory>
#include <optional>
#include <string>

class DwBodyPart;

/// The body of an entity. Its parts are read one at a time: asking for the next one gives up the
/// one before it.
class DwBody : public DwMessageComponent {
public:
    /// `boundary` is empty for a body that has no parts.
    DwBody(const DwString& text, const DwString& boundary);

    /// The first part of a multipart, null when there is none. Starts the parts anew.
    const DwBodyPart* FirstBodyPart() const;

private:
    friend class DwBodyPart;

    const DwBodyPart* advance() const;

    std::string delimiter_;
    mutable std::size_t position_ = 0;
    mutable std::unique_ptr<DwBodyPart> current_;
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

/// A direct part of a multipart, already parsed; valid until the next one is asked for.
class DwBodyPart : public DwEntity {
public:
    DwBodyPart(const DwBody& body, const DwString& text);

    /// The next part, null behind the last. Gives this one up.
    const DwBodyPart* Next() const;

private:
    const DwBody& whole_;
};

/// To be called once before the first message is parsed. There is nothing to set up: the tables of
/// this library are constants.
void DwInitialize();
