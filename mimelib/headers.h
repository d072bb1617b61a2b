// Header of a message or body part: where it ends, and the fields that are asked for.
#pragma once

#include "mimelib/address.h"
#include "mimelib/component.h"
#include "mimelib/media_type.h"

#include <optional>

/// Walks over all fields of a header, those that nobody here knows included.
class DwFieldReader {
public:
    /// `header` is a header as HeaderLength measures it, and must outlive the reader.
    explicit DwFieldReader(std::string_view header) : rest_(header) {}

    /// Moves to the next field; false behind the last.
    bool Next();

    /// Name and body of the field, as DwHeaders has them. Slices of the header.
    std::string_view Name() const { return name_; }
    std::string_view Body() const { return body_; }

private:
    std::string_view rest_;
    std::string_view name_;
    std::string_view body_;
};

/// The header fields of an entity. Field bodies keep their text as written, line breaks of folding
/// included; only blanks behind the colon and white space at the end are left out. Names match in
/// any case, and of several fields of one name the first counts. An accessor of a field that is
/// not there gives an empty one.
class DwHeaders : public DwMessageComponent {
public:
    /// `text` is a header as HeaderLength measures it.
    explicit DwHeaders(const DwString& text);

    bool HasReplyTo() const { return reply_to_.has_value(); }
    const DwAddressList& ReplyTo() const { return or_empty(reply_to_); }
    bool HasFrom() const { return from_.has_value(); }
    const DwMailboxList& From() const { return or_empty(from_); }
    bool HasSubject() const { return subject_.has_value(); }
    const DwText& Subject() const { return or_empty(subject_); }
    bool HasDate() const { return date_.has_value(); }
    const DwText& Date() const { return or_empty(date_); }
    bool HasContentType() const { return content_type_.has_value(); }
    const DwMediaType& ContentType() const { return or_empty(content_type_); }
    bool HasContentTransferEncoding() const { return transfer_encoding_.has_value(); }
    const DwMechanism& ContentTransferEncoding() const { return or_empty(transfer_encoding_); }

private:
    template <typename Field>
    static const Field& or_empty(const std::optional<Field>& field) {
        static const Field empty{DwString()};
        return field ? *field : empty;
    }

    void keep(std::string_view name, std::string_view body);

    std::optional<DwAddressList> reply_to_;
    std::optional<DwMailboxList> from_;
    std::optional<DwText> subject_;
    std::optional<DwText> date_;
    std::optional<DwMediaType> content_type_;
    std::optional<DwMechanism> transfer_encoding_;
};

/// Length of the header that `text` begins with, up to and without the empty line that ends it. It
/// also ends before the first line that can be neither field nor continuation, and at the end.
std::size_t HeaderLength(std::string_view text);
