// Header of a message or body part: where it ends, and the fields that are asked for.
#pragma once

#include "mimelib/address.h"
#include "mimelib/component.h"
#include "mimelib/media_type.h"

#include <optional>

/// Walks over all fields of a header, those that nobody here knows included.
class DwFieldReader {
public:
    /// `text` begins with a header, and must outlive the reader.
    explicit DwFieldReader(std::string_view text) : rest_(text) {}

    /// Moves to the next field; false behind the last: at the end, and before the first line that
    /// can be neither field nor continuation, such as an empty one.
    bool Next();

    /// Name and body of the field, as DwHeaders has them. Slices of the text.
    std::string_view Name() const { return name_; }
    std::string_view Body() const { return body_; }
    /// What stands behind the field.
    std::string_view Rest() const { return rest_; }

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
    /// `text` begins with a header: all fields that a DwFieldReader finds.
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

    std::optional<DwAddressList> reply_to_;
    std::optional<DwMailboxList> from_;
    std::optional<DwText> subject_;
    std::optional<DwText> date_;
    std::optional<DwMediaType> content_type_;
    std::optional<DwMechanism> transfer_encoding_;
};
