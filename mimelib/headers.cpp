#include "mimelib/headers.h"

#include "base/text.h"
#include "mimelib/field_text.h"

using mimelib::end_of_line;
using mimelib::is_blank;
using mimelib::is_white;

namespace {

/// Position of the colon of the field that `line` begins; npos when it begins none.
std::size_t find_colon(std::string_view line) {
    std::size_t end = 0;
    while (end < line.size() && line[end] != ':' && line[end] != ' ' && !is_control(line[end]) &&
           static_cast<unsigned char>(line[end]) < 128)
        ++end;
    const std::size_t name = end;
    while (end < line.size() && is_blank(line[end]))
        ++end;
    return name > 0 && end < line.size() && line[end] == ':' ? end : std::string_view::npos;
}

std::string_view trim_field_body(std::string_view body) {
    while (!body.empty() && is_blank(body.front()))
        body.remove_prefix(1);
    while (!body.empty() && is_white(body.back()))
        body.remove_suffix(1);
    return body;
}

/// End of the field that begins at `start`: behind its last continuation line.
std::size_t field_end(std::string_view text, std::size_t start) {
    std::size_t end = end_of_line(text, start);
    while (end < text.size() && is_blank(text[end]))
        end = end_of_line(text, end);
    return end;
}

} // namespace

std::size_t HeaderLength(std::string_view text) {
    std::size_t end = 0;
    while (end < text.size() &&
           find_colon(text.substr(end, end_of_line(text, end) - end)) != std::string_view::npos)
        end = field_end(text, end);
    return end;
}

bool DwFieldReader::Next() {
    if (rest_.empty())
        return false;
    const std::string_view field = rest_.substr(0, field_end(rest_, 0));
    name_ = field.substr(0, field.find_first_of(": \t"));
    body_ = trim_field_body(field.substr(find_colon(field) + 1));
    rest_.remove_prefix(field.size());
    return true;
}

DwHeaders::DwHeaders(const DwString& text) : DwMessageComponent(text) {
    for (DwFieldReader field(AsString().view()); field.Next();)
        keep(field.Name(), field.Body());
}

void DwHeaders::keep(std::string_view name, std::string_view body) {
    const auto keep_first = [&](auto& field, std::string_view known) {
        if (!field && equals_ignoring_case(name, known))
            field.emplace(AsString().slice(body));
    };
    keep_first(reply_to_, "reply-to");
    keep_first(from_, "from");
    keep_first(subject_, "subject");
    keep_first(date_, "date");
    keep_first(content_type_, "content-type");
    keep_first(transfer_encoding_, "content-transfer-encoding");
}
