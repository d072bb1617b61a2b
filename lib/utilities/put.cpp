#include "lib/utilities/put.h"

#include "base/owned.h"
#include "lib/get_param.h"
#include "lib/panel_connection.h"
#include "lib/product_log.h"
#include "lib/utilities/asprintf_safe.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr std::size_t statement_size = 4096;

bool has_connection(const PanelConnection& connection) {
    if (connection.get() != nullptr)
        return true;
    messlog2(0, 0, "Unable to connect to mysql database\n");
    return false;
}

int delete_by(const PanelConnection& connection, const char* statement, const char* parameter,
              const char* table) {
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
    const PanelConnection connection(my);
    if (!has_connection(connection))
        return -1;
    char statement[statement_size];
    std::snprintf(statement, sizeof statement, "delete from misc where param='%s'", parameter);
    return delete_by(connection, statement, parameter, "misc");
}

int del_dom_param(const char* dom_id, const char* parameter, MYSQL* my) {
    const PanelConnection connection(my);
    if (!has_connection(connection))
        return -1;
    char statement[statement_size];
    std::snprintf(statement, sizeof statement,
                  "delete from dom_param where dom_id='%s' and param='%s'", dom_id, parameter);
    return delete_by(connection, statement, parameter, "dom_param");
}

int del_Parameter(const char* id, const char* parameter, const char* value, MYSQL* my) {
    const PanelConnection connection(my);
    if (!has_connection(connection))
        return -1;
    char statement[statement_size];
    if (value == nullptr) {
        std::snprintf(statement, sizeof statement,
                      "delete from Parameters where id='%s' and parameter='%s'", id, parameter);
    } else {
        const MallocedText escaped(escape_mysql_param(connection.get(), value));
        std::snprintf(statement, sizeof statement,
                      "delete from Parameters where id='%s' and parameter='%s' and value='%s'", id,
                      parameter, escaped.get());
    }
    return delete_by(connection, statement, parameter, "Parameters");
}
