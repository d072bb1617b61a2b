#include "mimelib/message.h"

#include "base/text.h"
#include "mimelib/field_text.h"

namespace {

/// The boundary of a multipart; empty when there is none.
DwString find_boundary(const DwMediaType& type) {
    const bool has_parts = type.Type() == DwMime::kTypeMultipart;
    return has_parts ? type.Parameter("boundary").value_or(DwString()) : DwString();
}

/// The text without the line end that it may end in.
std::string_view without_line_end(std::string_view text) {
    text.remove_suffix(text.ends_with('\n') ? 1 : 0);
    text.remove_suffix(text.ends_with('\r') ? 1 : 0);
    return text;
}

enum class Line { ordinary, delimiter, closing };

/// What a line is to a body whose delimiter lines begin with `delimiter`.
Line classify(std::string_view line, std::string_view delimiter) {
    if (!line.starts_with(delimiter))
        return Line::ordinary;
    line.remove_prefix(delimiter.size());
    const bool closing = line.starts_with("--");
    if (line.find_first_not_of(" \t\r\n", closing ? 2 : 0) != std::string_view::npos)
        return Line::ordinary;
    return closing ? Line::closing : Line::delimiter;
}

/// A delimiter line within a body; `start` is the end of the text when there is none.
struct Delimiter {
    std::size_t start;
    std::size_t end;
    Line kind;
};

Delimiter find_delimiter(std::string_view text, std::string_view delimiter) {
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = mimelib::end_of_line(text, start);
        const Line kind = classify(text.substr(start, end - start), delimiter);
        if (kind != Line::ordinary)
            return {start, end, kind};
        start = end;
    }
    return {text.size(), text.size(), Line::ordinary};
}

} // namespace

std::size_t mimelib::start_of_header(std::string_view text) {
    const bool is_mbox_line = text.starts_with("From ") && !DwFieldReader(text).Next();
    return is_mbox_line ? end_of_line(text, 0) : 0;
}

void DwInitialize() {}

DwBody::DwBody(const DwString& text, const DwString& boundary) : DwMessageComponent(text) {
    const std::size_t length = boundary.view().find_last_not_of(" \t") + 1;
    if (length > 0)
        delimiter_ = DwString(concat({"--", boundary.view().substr(0, length)}));
}

std::optional<DwBodyPart> DwBody::FirstBodyPart() const {
    if (delimiter_.empty())
        return std::nullopt;
    const Delimiter first = find_delimiter(AsString().view(), delimiter_.view());
    if (first.kind != Line::delimiter)
        return std::nullopt;
    return DwBodyPart::first_of(AsString().substr(first.end), delimiter_);
}

std::optional<DwBodyPart> DwBodyPart::first_of(const DwString& text, const DwString& delimiter) {
    if (text.empty())
        return std::nullopt;
    const Delimiter next = find_delimiter(text.view(), delimiter.view());
    const std::string_view front = text.view().substr(0, next.start);
    DwBodyPart part(text.slice(next.kind == Line::ordinary ? front : without_line_end(front)));
    part.delimiter_ = delimiter;
    if (next.kind == Line::delimiter)
        part.rest_ = text.substr(next.end);
    return part;
}

void DwEntity::parse_from(std::size_t start) {
    headers_ = DwHeaders(AsString().substr(start));
    const DwString rest = AsString().substr(start + headers_.AsString().size());
    const bool has_bare_end = rest.view().starts_with('\n');
    const std::size_t empty_line = has_bare_end ? 1 : rest.view().starts_with("\r\n") ? 2 : 0;
    body_ = DwBody(rest.substr(empty_line), find_boundary(headers_.ContentType()));
}

std::unique_ptr<DwMessage> DwMessage::NewMessage(const DwString& text) {
    return std::unique_ptr<DwMessage>(new DwMessage(text));
}

void DwMessage::Parse() {
    parse_from(mimelib::start_of_header(AsString().view()));
}
