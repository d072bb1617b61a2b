#include "autoresponder/run/panel_query.h"

#include "autoresponder/run/ending.h"
#include "base/report.h"

#include <mysqld_error.h>

namespace {

bool is_conflict(unsigned int error) {
    constexpr unsigned int not_certified = 3101; // by MySQL's group replication
    return error == ER_LOCK_DEADLOCK || error == ER_LOCK_WAIT_TIMEOUT || error == ER_DUP_ENTRY ||
           error == ER_CHECKREAD || error == not_certified;
}

[[noreturn]] void exit_with_error(MYSQL* connection) {
    report({"autoresponder: Unable to exec query :", mysql_error(connection)});
    give_up();
}

} // namespace

bool run_query(MYSQL* connection, const std::string& statement, MysqlResult& result) {
    result.reset();
    if (mysql_real_query(connection, statement.data(), statement.size()) != 0)
        return false;
    result.reset(mysql_store_result(connection));
    return result != nullptr || mysql_errno(connection) == 0;
}

bool run_query_patiently(MYSQL* connection, const std::string& statement, MysqlResult& result) {
    constexpr int attempts = 20;
    for (int attempt = 1; !run_query(connection, statement, result); ++attempt) {
        if (mysql_errno(connection) != ER_LOCK_DEADLOCK || attempt == attempts)
            return false;
    }
    return true;
}

MysqlResult run_query_or_exit(MYSQL* connection, const std::string& statement) {
    MysqlResult result;
    if (!run_query_patiently(connection, statement, result))
        exit_with_error(connection);
    return result;
}

MysqlResult run_query_in_transaction(MYSQL* connection, const std::string& statement) {
    MysqlResult result;
    if (run_query(connection, statement, result))
        return result;
    if (is_conflict(mysql_errno(connection)))
        throw Conflict();
    exit_with_error(connection);
}

std::optional<Row> next_row(const MysqlResult& result) {
    if (!result)
        return std::nullopt;
    const MYSQL_ROW columns = mysql_fetch_row(result.get());
    if (columns == nullptr)
        return std::nullopt;
    return Row(columns, mysql_fetch_lengths(result.get()));
}
