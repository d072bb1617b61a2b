#include "lib/utilities/put.h"

#include "base/owned.h"
#include "lib/get_param.h"
#include "lib/panel_connection.h"
#include "lib/product_log.h"
#include "lib/utilities/asprintf_safe.h"

#include <cstdio>
#include <cstring>

namespace {

/// Deletes from `table` what `condition` says and, unless it is null, has that value. The statement
/// is cut at 4095 characters.
int delete_from(const char* table, const MallocedText& condition, const char* value,
                const char* parameter, MYSQL* my) {
    const PanelConnection connection(my);
    if (connection.get() == nullptr) {
        messlog2(0, 0, "Unable to connect to mysql database\n");
        return -1;
    }
    const MallocedText escaped(escape_mysql_param(connection.get(), value));
    char statement[4096];
    std::snprintf(statement, sizeof statement, "delete from %s where %s%s%s%s", table,
                  condition.get(), escaped ? " and value='" : "", escaped ? escaped.get() : "",
                  escaped ? "'" : "");
    if (mysql_real_query(connection.get(), statement, std::strlen(statement)) == 0)
        return 0;
    messlog2(0, 0, "Unable to delete parameter %s from %s: %s", parameter, table,
             mysql_error(connection.get()));
    return -1;
}

MallocedText put_statement(const char* parameter, const char* value, MYSQL* connection) {
    if (value == nullptr)
        return MallocedText(asprintf_safe("replace into misc (param) values('%s')", parameter));
    const MallocedText escaped(escape_mysql_param(connection, value));
    return MallocedText(asprintf_safe("replace into misc (param, val) values('%s', '%s')",
                                      parameter, escaped.get()));
}

} // namespace

int put_param(const char* parameter, const char* value, MYSQL* my) {
    const PanelConnection connection(my);
    if (connection.get() == nullptr) {
        messlog2(0, 1, "Unable to connect to mysql database");
        return -1;
    }
    const MallocedText statement = put_statement(parameter, value, connection.get());
    if (mysql_query(connection.get(), statement.get()) == 0)
        return 0;
    messlog2(0, 0, "Unable to put parameter %s into misc: %s", parameter,
             mysql_error(connection.get()));
    return -1;
}

int del_param(const char* parameter, MYSQL* my) {
    const MallocedText condition(asprintf_safe("param='%s'", parameter));
    return delete_from("misc", condition, nullptr, parameter, my);
}

int del_dom_param(const char* dom_id, const char* parameter, MYSQL* my) {
    const MallocedText condition(asprintf_safe("dom_id='%s' and param='%s'", dom_id, parameter));
    return delete_from("dom_param", condition, nullptr, parameter, my);
}

int del_Parameter(const char* id, const char* parameter, const char* value, MYSQL* my) {
    const MallocedText condition(asprintf_safe("id='%s' and parameter='%s'", id, parameter));
    return delete_from("Parameters", condition, value, parameter, my);
}
