// Responder rules: the rows of a mailbox, and which of them a message triggers.
#pragma once

#include "autoresponder/deciding/context.h"
#include "autoresponder/incoming/mail_content.h"
#include "lib/mysql_owned.h"

#include <map>
#include <optional>
#include <string>

/// When a rule answers, by the clock and calendar of the database server.
struct Schedule {
    enum class Time { before, within, after } time = Time::within;
    /// As the database spells them; empty for open.
    std::string begins;
    std::string ends;
    /// That a sender's answers are counted for.
    int days = 1;
};

/// One row of mail_resp. Every field is the column of its name as the database returned it, but
/// that those for a header end where a control character begins; the value given here stands in
/// only for NULL.
struct ResponderRule {
    std::string id = "0";
    /// Trigger text, in UTF-8.
    std::string keystr;
    /// "subj" or "body"; anything else is a rule without a trigger.
    std::string key_where = "no";
    /// Reply text, in UTF-8; nothing is substituted in it.
    std::string text;
    /// "false" switches the rule off; anything else leaves it on.
    std::string resp_on = "false";
    /// Most replies to one sender a day, as decimal text.
    std::string ans_freq = "10";
    /// Most senders that the bookkeeping keeps, as decimal text.
    std::string mem_limit = "1000";
    /// Subject of the reply with placeholders; empty for "Re: " and the incoming subject.
    std::string subject;
    /// Reply-To of the reply; empty for none.
    std::string reply_to;
    std::string charset = "UTF-8";
    std::string content_type = "text/plain";
    /// Its row of resp_schedule, where there is one.
    std::optional<Schedule> schedule;

    bool is_on() const { return resp_on != "false"; }
    /// Whether the rule is in its time.
    bool is_due() const { return !schedule || schedule->time == Schedule::Time::within; }
    int days() const { return schedule ? schedule->days : 1; }
};

/// All rules of the run's mailbox, in the server's order.
class Rules {
public:
    /// Asks for them, and for their schedules where the host has some. A failed statement throws
    /// QueryFailure.
    explicit Rules(const Run& run);

    /// None after the last.
    std::optional<ResponderRule> next();

private:
    MysqlResult rows_;
    std::map<std::string, Schedule> schedules_; // by the rule's id
};
