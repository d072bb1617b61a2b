#include "lib/utilities/put.h"

#include "base/owned.h"
#include "lib/get_param.h"
#include "lib/panel_connection.h"
#include "lib/product_log.h"
#include "lib/utilities/asprintf_safe.h"

#include <cstdio>
#include <cstring>

namespace {

/// Sends the statement that `fill` makes, given its place, the room there and the connection.
template <typename Fill>
int delete_from(const char* table, const char* parameter, MYSQL* my, Fill fill) {
    const PanelConnection connection(my);
    if (connection.get() == nullptr) {
        messlog2(0, 0, "Unable to connect to mysql database\n");
        return -1;
    }
    char statement[4096];
    fill(statement, sizeof statement, connection.get());
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
    return delete_from("misc", parameter, my, [&](char* to, std::size_t room, MYSQL*) {
        std::snprintf(to, room, "delete from misc where param='%s'", parameter);
    });
}

int del_dom_param(const char* dom_id, const char* parameter, MYSQL* my) {
    return delete_from("dom_param", parameter, my, [&](char* to, std::size_t room, MYSQL*) {
        std::snprintf(to, room, "delete from dom_param where dom_id='%s' and param='%s'", dom_id,
                      parameter);
    });
}

int del_Parameter(const char* id, const char* parameter, const char* value, MYSQL* my) {
    return delete_from("Parameters", parameter, my, [&](char* to, std::size_t room, MYSQL* used) {
        const MallocedText escaped(escape_mysql_param(used, value));
        std::snprintf(to, room, "delete from Parameters where id='%s' and parameter='%s'%s%s%s", id,
                      parameter, escaped ? " and value='" : "", escaped ? escaped.get() : "",
                      escaped ? "'" : "");
    });
}
