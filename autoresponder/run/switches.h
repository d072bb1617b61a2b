// What the host chooses beyond the panel's own behaviour: variables of /etc/ovk/ovk.conf, each on
// for the value "true" and off for any other. One that is not there goes by AUTORESPONDER_MODERN,
// which is one of the same kind and off when it is missing as well. Only the delimiter is a
// character, the hours are a number, and the status may be one.
#pragma once

#include <string>
#include <vector>

struct Policy {
    /// AUTORESPONDER_REFUSE_AUTOMATIC: mail that no person wrote is forwarded but not answered.
    bool refuse_automatic = false;
    /// AUTORESPONDER_REPLY_HEADERS: replies and notices carry a date, an identity and what tells
    /// other programs not to answer them.
    bool reply_headers = false;
    /// AUTORESPONDER_NULL_SENDER: replies and notices have the null path as envelope sender, so
    /// that nothing bounces back.
    bool null_sender = false;
    /// AUTORESPONDER_STANDARD_MAIL: what leaves the host keeps to today's standards, and nothing of
    /// it is lost or garbled.
    bool standard_mail = false;
    /// AUTORESPONDER_LOG: a line in the system log for each run.
    bool log = false;
    /// AUTORESPONDER_ADDRESSED_ONLY: mail whose header names no address of the mailbox is treated
    /// as automatic mail is.
    bool addressed_only = false;
    /// AUTORESPONDER_READ_AS_SHOWN: sender, subject and text are those that a mail program shows.
    bool read_as_shown = false;
    /// AUTORESPONDER_IGNORE_CASE, only with the one before and no part of AUTORESPONDER_MODERN:
    /// triggers match whatever the case of their letters.
    bool ignore_case = false;
    /// AUTORESPONDER_RECIPIENT_DELIMITER: what an extension of a local part begins with; NUL, which
    /// no local part holds, where none is chosen.
    char recipient_delimiter = '\0';
    /// AUTORESPONDER_RETRY_LATER: the status by which the mail server learns that a mail is to be
    /// tried again: 75 for "true", which all but qmail know (EX_TEMPFAIL), or the number that the
    /// variable holds; 0 where what fails for a while is not tried again.
    int retry_status = 0;
    /// AUTORESPONDER_RETRY_HOURS: how long after its coming a mail is tried again.
    int retry_hours = 24;
    /// AUTORESPONDER_STOP_CIRCLES: what is forwarded is marked, and nothing comes of it when it
    /// comes back.
    bool stop_circles = false;
    /// AUTORESPONDER_SCHEDULE, no part of AUTORESPONDER_MODERN: rules have a beginning, an end and
    /// days of their own, by a table that the panel does not have.
    bool schedule = false;
};

/// The envelope sender of mail that must not be bounced (RFC 3834 section 3.3).
inline constexpr char null_path[] = "<>";

/// The host's choice; loads the configuration file if that has not happened.
Policy configured_policy();

/// The variables that `policy` comes from, as far as they are in force: those that are on by their
/// names, others by name, blank and value.
std::vector<std::string> in_force(const Policy& policy);
