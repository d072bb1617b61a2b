#include "autoresponder/explain/remarks.h"

#include "autoresponder/outgoing/form.h"
#include "autoresponder/run/number.h"
#include "base/text.h"

std::vector<std::string> remarks_on(const ResponderRule& rule, const Policy& policy) {
    std::vector<std::string> remarks;
    const auto remark = [&](std::string_view column, const std::string& value,
                            std::string_view meaning) {
        remarks.push_back(concat({column, " is \"", value, "\": ", meaning}));
    };
    const auto check_number = [&](std::string_view column, const std::string& value) {
        if (value.empty() || value.find_first_not_of("0123456789") != std::string::npos)
            remark(column, value,
                   concat({"as a number that is ", std::to_string(decimal_number(value))}));
    };
    if (rule.key_where != "subj" && rule.key_where != "body" && rule.key_where != "no" &&
        !rule.key_where.empty())
        remark("key_where", rule.key_where, "neither \"subj\" nor \"body\", so every mail matches");
    if (rule.resp_on != "true" && rule.resp_on != "false")
        remark("resp_on", rule.resp_on, "only \"false\" switches a rule off");
    check_number("ans_freq", rule.ans_freq);
    check_number("mem_limit", rule.mem_limit);
    if (!contains(rule.content_type, "/"))
        remark("content_type", rule.content_type, "no type, such as \"text/html\"");
    if (Form(policy).text("a", rule.charset).charset != rule.charset)
        remark("charset", rule.charset, "cannot be used, so the reply goes out in UTF-8");
    return remarks;
}
