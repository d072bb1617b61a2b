#include "autoresponder/rules.h"

#include "autoresponder/panel_query.h"
#include "base/text.h"

MysqlResult query_rules(MYSQL* connection, const std::string& mailbox_id) {
    return run_query_or_exit(connection,
                             concat({"select id, keystr, key_where, text, resp_on, ans_freq,"
                                     " mem_limit, subject, reply_to, charset, content_type"
                                     " from mail_resp where mn_id=",
                                     mailbox_id}));
}

std::optional<ResponderRule> next_rule(const MysqlResult& rows) {
    const std::optional<Row> row = next_row(rows);
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
    return rule;
}

bool is_on(const ResponderRule& rule) {
    return rule.resp_on != "false";
}

bool trigger_matches(const ResponderRule& rule, const Mail_content& mail) {
    if (rule.key_where == "subj")
        return contains(mail.subject, rule.keystr);
    if (rule.key_where == "body")
        return mail.body.any_contains(rule.keystr);
    return true;
}
