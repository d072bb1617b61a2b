#include "autoresponder/deciding/guards.h"

#include "base/text.h"
#include "codecs/idn.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string_view>

namespace {

std::string refuse(std::initializer_list<std::string_view> reason) {
    return concat(reason);
}

bool is_own_mail(const Mail_content& mail, const Policy& policy) {
    const std::string recipient(without_final_dot(mail.to));
    return policy.standard_mail ? orvek::idn::is_same_address(mail.sender(), recipient)
                                : mail.sender() == recipient;
}

bool is_mailer_daemon(std::string_view sender) {
    constexpr std::array<std::string_view, 3> names = {"MAILER-DAEMON", "mailer-daemon",
                                                       "DrWEB-DAEMON"};
    return std::any_of(names.begin(), names.end(), [sender](std::string_view name) {
        return sender.find(name) != std::string_view::npos;
    });
}

/// RFC 5321 section 4.5.3.1: no mail reaches such an address. Its limit on the local part is
/// another matter: real mail goes beyond it.
bool is_too_long(std::string_view sender) {
    return sender.size() > 254;
}

} // namespace

Refusal guard(const Mail_content& mail, const HeaderFacts& facts, const Policy& policy) {
    if (is_own_mail(mail, policy))
        return {Fault::own_mail, refuse({"Field From: equial field To:"})};
    if (is_mailer_daemon(mail.from))
        return {Fault::mailer_daemon, refuse({"Field From: contains MAILER-DAEMON"})};
    if (is_too_long(mail.from))
        return {Fault::long_sender, refuse({"Field From: address is too long"})};
    const std::string sign = policy.refuse_automatic ? bounce_reason(mail, facts) : "";
    if (sign.empty())
        return {};
    return {Fault::bounce, refuse({"autoresponder: Neither answered nor forwarded: ", sign})};
}
