#include "autoresponder/explain/remarks.h"

#include "autoresponder/outgoing/form.h"
#include "autoresponder/run/number.h"
#include "base/text.h"

#include <algorithm>

namespace {

bool is_one_of(const std::string& text, std::initializer_list<std::string_view> values) {
    return std::find(values.begin(), values.end(), text) != values.end();
}

bool is_number(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

} // namespace

std::vector<std::string> remarks_on(const ResponderRule& rule, const Policy& policy) {
    std::vector<std::string> remarks;
    const auto remark = [&](std::string_view column, const std::string& value,
                            std::string_view meaning) {
        remarks.push_back(concat({column, " is \"", value, "\": ", meaning}));
    };
    const auto check_number = [&](std::string_view column, const std::string& value) {
        if (!is_number(value))
            remark(column, value,
                   concat({"as a number that is ", std::to_string(decimal_number(value))}));
    };
    if (!is_one_of(rule.key_where, {"subj", "body", "no", ""}))
        remark("key_where", rule.key_where, "neither \"subj\" nor \"body\", so every mail matches");
    if (!is_one_of(rule.resp_on, {"true", "false"}))
        remark("resp_on", rule.resp_on, "only \"false\" switches a rule off");
    check_number("ans_freq", rule.ans_freq);
    check_number("mem_limit", rule.mem_limit);
    if (!contains(rule.content_type, "/"))
        remark("content_type", rule.content_type, "no type, such as \"text/html\"");
    if (Form(policy).text("a", rule.charset).charset != rule.charset)
        remark("charset", rule.charset, "cannot be used, so the reply goes out in UTF-8");
    return remarks;
}
