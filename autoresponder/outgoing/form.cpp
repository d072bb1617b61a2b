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

constexpr std::string_view reply_to_field = "Reply-To: ";
constexpr std::string_view subject_field = "Subject: ";

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

std::string own_address(const std::string& address, const Policy& policy) {
    if (!policy.standard_mail && policy.recipient_delimiter == '\0')
        return orvek::idn::toAscii(address);
    const std::string ascii = orvek::idn::emailToAscii(address);
    const std::size_t at = std::min(ascii.find('@'), ascii.size());
    return policy.standard_mail ? mimelib::local_part(ascii.substr(0, at)) + ascii.substr(at)
                                : ascii;
}

std::string reply_to_lines(const std::string& reply_to, const Policy& policy) {
    if (reply_to.empty())
        return {};
    const std::string value =
        policy.standard_mail
            ? orvek::outgoing::folded(orvek::outgoing::with_ascii_domains(reply_to),
                                      reply_to_field.size())
            : reply_to;
    return concat({reply_to_field, value, "\n"});
}

std::string subject_value(const std::string& subject, const Policy& policy) {
    return policy.standard_mail ? orvek::outgoing::header_text(subject, subject_field.size())
                                : orvek::rfc1522::encode(subject);
}

std::string file_name_parameters(const std::string& name, const Policy& policy) {
    std::string parameters;
    // In front, where readers that know both forms take it.
    if (policy.standard_mail && orvek::ascii_length(name) != name.size())
        parameters = concat({";\n\t", orvek::outgoing::extended_parameter("filename", name)});
    return parameters += concat({";\n\tfilename=\"", orvek::rfc1522::encode(name), "\""});
}

OutgoingText outgoing_text(const std::string& text, const std::string& charset,
                           const Policy& policy) {
    OutgoingText out = recoded_in_cell(text, charset, policy.standard_mail);
    if (!policy.standard_mail)
        return out;
    if (orvek::outgoing::needs_quoted_printable(out.body)) {
        out.body = orvek::outgoing::quoted_printable(out.body);
        out.encoding = "quoted-printable";
    }
    return out;
}
