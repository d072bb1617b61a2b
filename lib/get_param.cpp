#include "lib/get_param.h"

#include "lib/libcommon.h"
#include "lib/mysql_owned.h"
#include "lib/panel_connection.h"
#include "lib/product_log.h"

#include <cstdio>
#include <cstring>
#include <string_view>

namespace {

constexpr std::size_t buffer_size = 4096;

char* copy_to_shared_buffer(std::string_view value) {
    static char buffer[buffer_size];
    buffer[value.copy(buffer, buffer_size - 1)] = '\0';
    return buffer;
}

} // namespace

char* get_param_from_bigquery(const char* query, MYSQL* my, int num) {
    const PanelConnection connection(my);
    if (connection.get() == nullptr) {
        messlog2(0, 1, "Unable to connect to the mysql database\n");
        return nullptr;
    }
    if (mysql_query(connection.get(), query) != 0) {
        messlog2(0, 1, "Unable to query parameter by query %s: %s\n", query,
                 mysql_error(connection.get()));
        return nullptr;
    }
    const MysqlResult result(mysql_store_result(connection.get()));
    const MYSQL_ROW row = result ? mysql_fetch_row(result.get()) : nullptr;
    if (row == nullptr || row[num] == nullptr)
        return copy_to_shared_buffer("");
    return copy_to_shared_buffer({row[num], mysql_fetch_lengths(result.get())[num]});
}

char* get_param_query(const char* query, MYSQL* my) {
    return get_param_from_bigquery(query, my, 0);
}

char* get_param_simple(const char* param_name, const char* table, const char* param_col,
                       const char* val_col, MYSQL* my) {
    char query[buffer_size];
    std::snprintf(query, sizeof query, "select %s from %s where %s='%s'", val_col, table, param_col,
                  param_name);
    return get_param_query(query, my);
}

char* get_param(const char* par_name, MYSQL* my) {
    return get_param_simple(par_name, "misc", "param", "val", my);
}

char* escape_mysql_param(MYSQL* conn, const char* param) {
    if (param == nullptr)
        return nullptr;
    const std::size_t length = std::strlen(param);
    char* const escaped = static_cast<char*>(realloc_safe(nullptr, 2 * length + 1));
    mysql_real_escape_string(conn, escaped, param, length);
    return escaped;
}
