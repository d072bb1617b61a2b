#include "mimelib/message.h"

#include "mimelib/field_text.h"

namespace {

/// The boundary of a multipart, without the blanks that it must not end in: the lines that it
/// occurs in lose theirs on the way. Empty when there is none.
DwString find_boundary(const DwHeaders& headers) {
    if (headers.ContentType().Type() != DwMime::kTypeMultipart)
        return {};
    const DwString boundary = headers.ContentType().Parameter("boundary").value_or(DwString());
    return boundary.substr(0, boundary.view().find_last_not_of(" \t") + 1);
}

std::size_t skip_empty_line(std::string_view text, std::size_t start) {
    if (text.substr(start, 1) == "\n")
        return start + 1;
    return text.substr(start, 2) == "\r\n" ? start + 2 : start;
}

/// `end` without the line end that stands before it.
std::size_t without_line_end(std::string_view text, std::size_t end) {
    if (end > 0 && text[end - 1] == '\n')
        --end;
    if (end > 0 && text[end - 1] == '\r')
        --end;
    return end;
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
    if (!text.starts_with("From "))
        return 0;
    const std::size_t next = text.find_first_not_of(" \t", 5);
    const bool is_field = next != std::string_view::npos && text[next] == ':';
    return is_field ? 0 : end_of_line(text, 0);
}

void DwInitialize() {}

DwBody::DwBody(const DwString& text, const DwString& boundary) : DwMessageComponent(text) {
    if (!boundary.empty())
        delimiter_ = DwString("--" + boundary.str());
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
    DwBodyPart part(text.substr(
        0, next.kind == Line::ordinary ? next.start : without_line_end(text.view(), next.start)));
    part.delimiter_ = delimiter;
    if (next.kind == Line::delimiter)
        part.rest_ = text.substr(next.end);
    return part;
}

void DwEntity::parse_from(std::size_t start) {
    headers_ = DwHeaders(AsString().substr(start));
    const std::size_t end = start + headers_.AsString().size();
    body_ =
        DwBody(AsString().substr(skip_empty_line(AsString().view(), end)), find_boundary(headers_));
}

std::unique_ptr<DwMessage> DwMessage::NewMessage(const DwString& text) {
    return std::unique_ptr<DwMessage>(new DwMessage(text));
}

void DwMessage::Parse() {
    parse_from(mimelib::start_of_header(AsString().view()));
}
