#include "autoresponder/panel_query.h"

#include "autoresponder/diagnostics.h"
#include "autoresponder/process.h"

#include <mysqld_error.h>

bool run_query(MYSQL* connection, const std::string& statement, MysqlResult& result) {
    result.reset();
    if (mysql_real_query(connection, statement.data(), statement.size()) != 0)
        return false;
    result.reset(mysql_store_result(connection));
    return result != nullptr || mysql_errno(connection) == 0;
}

MysqlResult run_query_or_exit(MYSQL* connection, const std::string& statement) {
    constexpr int attempts = 20;
    MysqlResult result;
    for (int attempt = 1; !run_query(connection, statement, result); ++attempt) {
        if (mysql_errno(connection) == ER_LOCK_DEADLOCK && attempt < attempts)
            continue;
        report({"autoresponder: Unable to exec query :", mysql_error(connection)});
        correct_exit();
    }
    return result;
}

std::optional<Row> next_row(const MysqlResult& result) {
    if (!result)
        return std::nullopt;
    const MYSQL_ROW columns = mysql_fetch_row(result.get());
    if (columns == nullptr)
        return std::nullopt;
    return Row(columns, mysql_fetch_lengths(result.get()));
}
