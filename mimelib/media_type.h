// Content-Type and Content-Transfer-Encoding (RFC 2045).
#pragma once

#include "mimelib/component.h"

#include <cstddef>
#include <optional>

namespace DwMime {

enum MediaType {
    kTypeUnknown,
    kTypeText,
    kTypeMultipart,
    kTypeMessage,
    kTypeApplication,
    kTypeImage,
    kTypeAudio,
    kTypeVideo,
};

enum Encoding {
    kCteNull,
    kCteUnknown,
    kCte7bit,
    kCte8bit,
    kCteBinary,
    kCteQuotedPrintable,
    kCteBase64,
};

} // namespace DwMime

class DwMediaType;

/// A parameter of a media type, valid until the next one is asked for.
class DwParameter {
public:
    DwParameter(const DwMediaType& type, const DwString& attribute, const DwString& value)
        : type_(type), attribute_(attribute), value_(value) {}

    /// The name, as written. Never empty.
    const DwString& Attribute() const { return attribute_; }
    /// The value without quotes, backslashes and line breaks; empty when there is none.
    const DwString& Value() const { return value_; }
    /// The next parameter, null behind the last. Gives this one up.
    const DwParameter* Next() const;

private:
    const DwMediaType& type_;
    DwString attribute_;
    DwString value_;
};

/// The body of a Content-Type field. Parameters are read one at a time.
class DwMediaType : public DwMessageComponent {
public:
    explicit DwMediaType(const DwString& text);

    /// A DwMime::MediaType. Known by the type alone: "text" without a subtype is text.
    int Type() const { return type_; }

    /// The first parameter, null without one. Starts the list anew.
    const DwParameter* FirstParameter() const;

private:
    friend class DwParameter;

    const DwParameter* advance() const;

    int type_;
    std::size_t parameters_;
    mutable std::size_t position_ = 0;
    mutable std::optional<DwParameter> current_;
};

/// The body of a Content-Transfer-Encoding field.
class DwMechanism : public DwMessageComponent {
public:
    explicit DwMechanism(const DwString& text) : DwMessageComponent(text) {}

    /// A DwMime::Encoding; kCteNull when there is no name.
    int AsEnum() const;
};
