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

std::string file_name_parameter(const std::string& name) {
    return concat({";\n\tfilename=\"", orvek::rfc1522::encode(name), "\""});
}

class PanelForm : public Form {
public:
    explicit PanelForm(bool has_delimiter) : has_delimiter_(has_delimiter) {}

    std::vector<const char*> sendmail_options() const override { return {}; }

    std::string own_address(const std::string& address) const override {
        return has_delimiter_ ? orvek::idn::emailToAscii(address) : orvek::idn::toAscii(address);
    }
    std::string forward_sender(const std::string& address) const override { return address; }
    const std::string& short_from(const std::string& recipient, const std::string&) const override {
        return recipient;
    }
    const char* line_before_subject() const override { return "CC: \n"; }
    std::string reply_to_value(const std::string& reply_to) const override { return reply_to; }
    std::string subject_value(const std::string& subject) const override {
        return orvek::rfc1522::encode(subject);
    }
    std::string file_name_parameters(const std::string& name) const override {
        return file_name_parameter(name);
    }
    OutgoingText text(const std::string& text, const std::string& charset) const override {
        return recoded_in_cell(text, charset, false);
    }

private:
    bool has_delimiter_;
};

class StandardForm : public Form {
public:
    /// Without it a line that holds nothing but a dot is the end of the message.
    std::vector<const char*> sendmail_options() const override { return {"-i"}; }

    std::string own_address(const std::string& address) const override {
        const std::string ascii = orvek::idn::emailToAscii(address);
        const std::size_t at = std::min(ascii.find('@'), ascii.size());
        return mimelib::local_part(ascii.substr(0, at)) + ascii.substr(at);
    }
    std::string forward_sender(const std::string& address) const override {
        try {
            return own_address(address);
        } catch (const orvek::idn::IdnaError&) {
            return address;
        }
    }
    const std::string& short_from(const std::string&, const std::string& own) const override {
        return own;
    }
    const char* line_before_subject() const override { return "MIME-Version: 1.0\n"; }
    std::string reply_to_value(const std::string& reply_to) const override {
        return orvek::outgoing::folded(orvek::outgoing::with_ascii_domains(reply_to),
                                       reply_to_field.size());
    }
    std::string subject_value(const std::string& subject) const override {
        return orvek::outgoing::header_text(subject, subject_field.size());
    }
    /// In front, where readers that know both forms take it.
    std::string file_name_parameters(const std::string& name) const override {
        std::string parameters;
        if (orvek::ascii_length(name) != name.size())
            parameters = concat({";\n\t", orvek::outgoing::extended_parameter("filename", name)});
        return parameters + file_name_parameter(name);
    }
    OutgoingText text(const std::string& text, const std::string& charset) const override {
        OutgoingText out = recoded_in_cell(text, charset, true);
        if (orvek::outgoing::needs_quoted_printable(out.body)) {
            out.body = orvek::outgoing::quoted_printable(out.body);
            out.encoding = "quoted-printable";
        }
        return out;
    }
};

} // namespace

std::string Form::reply_to_lines(const std::string& reply_to) const {
    return reply_to.empty() ? std::string()
                            : concat({reply_to_field, reply_to_value(reply_to), "\n"});
}

const Form& form_of(const Policy& policy) {
    static const StandardForm standard;
    static const PanelForm panels(false), with_delimiter(true);
    if (policy.standard_mail)
        return standard;
    return policy.recipient_delimiter == '\0' ? panels : with_delimiter;
}
