#include "autoresponder/outgoing/form.h"

#include "autoresponder/run/in_cell.h"
#include "base/text.h"
#include "codecs/charset.h"
#include "codecs/idn.h"
#include "codecs/outgoing.h"
#include "codecs/utf8.h"
#include "mimelib/field_text.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace {

/// RFC 2978 section 2.3: what else iconv takes would be no charset in a header, or a line of its
/// own.
bool is_charset_name(std::string_view name) {
    return std::all_of(name.begin(), name.end(), [](char c) {
        return is_alphanumeric(c) || contains("!#$%&'+-^_`{}~", {&c, 1});
    });
}

/// In the cell: the text and the charset that it is in.
cell::Texts recoded(const std::string& text, const std::string& charset, bool standard) {
    const std::string target =
        standard && !orvek::outgoing::holds_ascii(charset) ? "UTF-8" : charset;
    try {
        return {orvek::iconvRecode(text, "UTF-8", target, true, standard), target};
    } catch (const std::runtime_error&) {
        return {text, "UTF-8"};
    }
}

/// A mailbox's owner chooses text and charset, and so what a converter gets to see.
OutgoingText recoded_in_cell(const std::string& text, const std::string& charset, bool standard) {
    if (orvek::is_same_in_both(text, "UTF-8", charset))
        return {text, charset};
    std::string why;
    std::optional<cell::Texts> texts;
    if (is_charset_name(charset))
        texts = do_in_cell([&] { return recoded(text, charset, standard); }, text.size(), why);
    if (texts && texts->size() == 2 && (texts->back() == charset || texts->back() == "UTF-8"))
        return {std::move(texts->front()), std::move(texts->back())};
    // As for a charset that nobody knows.
    return standard && charset != "UTF-8" ? recoded_in_cell(text, "UTF-8", standard)
                                          : OutgoingText{text, "UTF-8"};
}

} // namespace

// Without "-i" a line that holds nothing but a dot is the end of the message.
std::vector<const char*> Form::sendmail_options() const {
    return is_standard_ ? std::vector{"-i"} : std::vector<const char*>();
}

std::string Form::own_address(const std::string& address) const {
    if (!is_standard_)
        return has_delimiter_ ? orvek::idn::emailToAscii(address) : orvek::idn::toAscii(address);
    const std::string ascii = orvek::idn::emailToAscii(address);
    const std::size_t at = std::min(ascii.find('@'), ascii.size());
    return mimelib::local_part(ascii.substr(0, at)) + ascii.substr(at);
}

std::string Form::forward_sender(const std::string& address) const {
    try {
        return is_standard_ ? own_address(address) : address;
    } catch (const orvek::idn::IdnaError&) {
        return address;
    }
}

const std::string& Form::short_from(const std::string& recipient, const std::string& own) const {
    return is_standard_ ? own : recipient;
}

std::string Form::reply_to_lines(const std::string& reply_to) const {
    constexpr std::string_view field = "Reply-To: ";
    if (reply_to.empty())
        return {};
    if (!is_standard_)
        return concat({field, reply_to, "\n"});
    const std::string value = orvek::outgoing::with_ascii_domains(reply_to);
    return concat({field, orvek::outgoing::folded(value, field.size()), "\n"});
}

std::string Form::short_head(const std::string& reply_to, const std::string& addresses) const {
    const char* const line = is_standard_ ? "MIME-Version: 1.0\n" : "CC: \n";
    return concat({reply_to_lines(reply_to), addresses, line, "Subject: "});
}

std::string Form::subject_value(const std::string& subject) const {
    return is_standard_
               ? orvek::outgoing::header_text(subject, std::string_view("Subject: ").size())
               : orvek::rfc1522::encode(subject);
}

std::string Form::file_name_parameters(const std::string& name) const {
    // In front, where readers that know both forms take it.
    std::string extended;
    if (is_standard_ && orvek::ascii_length(name) != name.size())
        extended = ";\n\t" + orvek::outgoing::extended_parameter("filename", name);
    return concat({extended, ";\n\tfilename=\"", orvek::rfc1522::encode(name), "\""});
}

OutgoingText Form::text(const std::string& text, const std::string& charset) const {
    OutgoingText out = recoded_in_cell(text, charset, is_standard_);
    if (is_standard_ && orvek::outgoing::needs_quoted_printable(out.body)) {
        out.body = orvek::outgoing::quoted_printable(out.body);
        out.encoding = "quoted-printable";
    }
    return out;
}
