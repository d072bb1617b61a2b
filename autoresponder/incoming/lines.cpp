#include "autoresponder/incoming/lines.h"

#include "base/text.h"

namespace {

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

} // namespace

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
