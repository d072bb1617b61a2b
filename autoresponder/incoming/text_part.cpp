#include "autoresponder/incoming/text_part.h"

#include "autoresponder/incoming/intake.h"
#include "autoresponder/incoming/parameter.h"
#include "autoresponder/incoming/parts.h"
#include "base/text.h"
#include "reading/html_text.h"
#include "reading/letters.h"
#include "reading/shown_charset.h"

#include <optional>
#include <utility>

namespace {

/// Blanks at the end of a line of quoted-printable come from those who passed the mail on (RFC 2045
/// section 6.7, rule 3).
DwString without_blank_line_ends(const DwString& text) {
    std::string kept;
    kept.reserve(text.size());
    std::string_view rest = text.view();
    std::string_view line;
    for (bool more = true; more;) {
        more = take_line(rest, line);
        const bool carriage_return = !line.empty() && line.back() == '\r';
        line = line.substr(0, line.find_last_not_of(" \t\r") + 1);
        kept.append(line).append(carriage_return ? "\r" : "").append(more ? "\n" : "");
    }
    return DwString(std::move(kept));
}

DwString decode(const DwEntity& entity) {
    DwString decoded;
    if (entity.Headers().ContentTransferEncoding().AsEnum() == DwMime::kCteQuotedPrintable)
        DwDecodeQuotedPrintable(without_blank_line_ends(entity.Body().AsString()), decoded);
    else
        DecodeBody(entity, decoded);
    return decoded;
}

LineFormat line_format(const DwMediaType& type) {
    return {equals_ignoring_case(shown_parameter(type, "format"), "flowed"),
            equals_ignoring_case(shown_parameter(type, "delsp"), "yes")};
}

constexpr std::string_view signature_separator = "-- ";

/// Takes the marks of quotation off the front of the line and returns how many there were. In
/// flowed text they stand without blanks between them, else a blank may follow each.
std::size_t take_quotation(std::string_view& line, bool flowed) {
    std::size_t depth = 0;
    while (line.substr(0, 1) == ">" || (!flowed && depth > 0 && line.substr(0, 2) == " >")) {
        line.remove_prefix(line.front() == '>' ? 1 : 2);
        ++depth;
    }
    if ((flowed || depth > 0) && line.substr(0, 1) == " ")
        line.remove_prefix(1);
    return depth;
}

/// Tells `out` plain text as mail programs lay it out, flowed lines joined (RFC 3676): without the
/// marks of quotation and what flowed text is stuffed with, an empty line between lines of
/// different quoting depth and around a signature's separator.
void add_shown_lines(std::string_view text, LineFormat format, orvek::Paragraphs& out) {
    std::size_t last_depth = 0;
    bool flows = true;  // the line before, if there is one, flows into this one without a blank
    bool apart = false; // the line before was a separator
    std::string_view line;
    for (bool more = true; more;) {
        more = take_line(text, line);
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        const std::size_t depth = take_quotation(line, format.flowed);
        const bool separator = line == signature_separator;
        apart |= separator || depth != last_depth;
        if (apart || !flows)
            out.add(apart ? "\n\n" : "\n");
        flows = format.flowed && format.del_space && line.ends_with(' ');
        if (flows)
            line.remove_suffix(1);
        out.add(line);
        apart = separator;
        last_depth = depth;
    }
}

} // namespace

PartPlace place_of(const DwEntity& entity, std::string number) {
    const DwHeaders& headers = entity.Headers();
    return {std::move(number), headers.ContentType().AsString().str(),
            headers.ContentTransferEncoding().AsString().str(), true};
}

PartText shown_entity(const DwEntity& entity, orvek::ShownCharsets& charsets) {
    const DwMediaType& type = entity.Headers().ContentType();
    PartText shown;
    shown.charset = until_nul(shown_parameter(type, "charset"));
    shown.text = charsets.to_utf8(decode(entity).view(), shown.charset);
    if (type.HasSubtype("html"))
        shown.text = orvek::html_text(std::move(shown.text));
    else
        shown.lines = line_format(type);
    return shown;
}

PartText shown_text(const DwMessage& message) {
    orvek::ShownCharsets charsets;
    for (PartWalk walk(message, PartWalk::Over::shown); walk.next();) {
        PartText text = shown_entity(walk.part(), charsets);
        if (!orvek::shows_text(text.text))
            continue;
        text.place = place_of(walk.part(), walk.number());
        if (text.charset.empty())
            text.charset = "US-ASCII";
        return text;
    }
    return {{}, "US-ASCII", std::nullopt, {}};
}

orvek::Case case_of(const Policy& policy) {
    return policy.ignore_case ? orvek::Case::ignored : orvek::Case::counts;
}

std::string paragraphs_of(const PartText& part, orvek::Case letters) {
    orvek::Paragraphs paragraphs(letters, part.text.size());
    if (part.lines)
        add_shown_lines(part.text, *part.lines, paragraphs);
    else
        paragraphs.add(part.text);
    return paragraphs.finish();
}
