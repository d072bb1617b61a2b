#include "autoresponder/deciding/rules.h"

#include "autoresponder/run/panel_query.h"
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
    for (std::string* const value : {&rule.reply_to, &rule.charset, &rule.content_type})
        value->resize(until_control(*value).size());
    return rule;
}

bool is_on(const ResponderRule& rule) {
    return rule.resp_on != "false";
}

std::optional<Occurrence> occurrence_in(std::string_view text, std::size_t offset,
                                        std::string_view trigger) {
    if (offset == std::string_view::npos)
        return std::nullopt;
    return Occurrence{text, offset, trigger.size()};
}

std::optional<Occurrence> find_trigger(const ResponderRule& rule, const Mail_content& mail) {
    if (rule.key_where == "subj")
        return occurrence_in(mail.subject, offset_of(mail.subject, rule.keystr), rule.keystr);
    if (rule.key_where == "body")
        return occurrence_in(mail.body.text(), mail.body.find(rule.keystr), rule.keystr);
    return Occurrence();
}
