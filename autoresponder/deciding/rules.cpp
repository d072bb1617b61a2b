#include "autoresponder/deciding/rules.h"

#include "autoresponder/run/number.h"
#include "autoresponder/run/panel_query.h"
#include "base/text.h"

namespace {

/// Of all rules of the mailbox that have one.
std::map<std::string, Schedule> read_schedules(MYSQL* connection, const std::string& mailbox_id) {
    constexpr int longest = 366;
    const MysqlResult rows = run_query_patiently_or_throw(
        connection,
        concat({"select s.rn_id, s.begins, s.ends, s.days, NOW()<s.begins, NOW()>=s.ends"
                " from resp_schedule s, mail_resp r where s.rn_id=r.id and r.mn_id=",
                mailbox_id}));
    std::map<std::string, Schedule> schedules;
    while (const std::optional<Row> row = next_row(rows)) {
        using Time = Schedule::Time;
        const Time time = row->text(4) == "1"   ? Time::before
                          : row->text(5) == "1" ? Time::after
                                                : Time::within;
        schedules[row->text(0)] = {time, row->text(1), row->text(2),
                                   number_up_to(longest, row->text(3), 1)};
    }
    return schedules;
}

} // namespace

Rules::Rules(const Run& run)
    : rows_(run_query_patiently_or_throw(
          run.connection.get(), concat({"select id, keystr, key_where, text, resp_on, ans_freq,"
                                        " mem_limit, subject, reply_to, charset, content_type"
                                        " from mail_resp where mn_id=",
                                        run.mailbox().id}))) {
    if (run.policy.schedule)
        schedules_ = read_schedules(run.connection.get(), run.mailbox().id);
}

std::optional<ResponderRule> Rules::next() {
    const std::optional<Row> row = next_row(rows_);
    if (!row)
        return std::nullopt;
    ResponderRule rule;
    std::string* const fields[] = {&rule.id,       &rule.keystr,   &rule.key_where,   &rule.text,
                                   &rule.resp_on,  &rule.ans_freq, &rule.mem_limit,   &rule.subject,
                                   &rule.reply_to, &rule.charset,  &rule.content_type};
    std::size_t column = 0;
    for (std::string* const field : fields) {
        if (!row->is_null(column))
            *field = row->text(column);
        ++column;
    }
    for (std::string* const value : {&rule.reply_to, &rule.charset, &rule.content_type})
        value->resize(until_control(*value).size());
    if (const auto found = schedules_.find(rule.id); found != schedules_.end())
        rule.schedule = found->second;
    return rule;
}
