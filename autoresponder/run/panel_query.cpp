#include "autoresponder/run/panel_query.h"

#include <errmsg.h>
#include <mysqld_error.h>
#include <utility>

namespace {

using Kind = QueryFailure::Kind;

/// The one place that knows the numbers.
Kind kind_of(unsigned int error) {
    constexpr unsigned int not_certified = 3101; // by MySQL's group replication
    switch (error) {
    case ER_LOCK_DEADLOCK:
    case ER_CHECKREAD:
    case not_certified:
        return Kind::conflict;
    case ER_LOCK_WAIT_TIMEOUT:
        return Kind::locked;
    case ER_DUP_ENTRY:
        return Kind::taken_key;
    case ER_PARSE_ERROR:
    case ER_WARN_DATA_OUT_OF_RANGE:
    case ER_CANT_AGGREGATE_2COLLATIONS:
    case ER_CANT_AGGREGATE_NCOLLATIONS:
    case ER_TRUNCATED_WRONG_VALUE:
    case ER_INVALID_CHARACTER_STRING:
    case ER_TRUNCATED_WRONG_VALUE_FOR_FIELD:
    case ER_DATA_TOO_LONG:
        return Kind::data;
    case CR_SERVER_LOST:
        return Kind::lost;
    default:
        return Kind::other;
    }
}

MysqlResult or_failure(std::optional<MysqlResult> result, MYSQL* connection, const char* what) {
    if (!result)
        throw QueryFailure{kind_of(mysql_errno(connection)), mysql_error(connection), what};
    return std::move(*result);
}

} // namespace

std::optional<MysqlResult> run_query(MYSQL* connection, const std::string& statement) {
    if (mysql_real_query(connection, statement.data(), statement.size()) != 0)
        return std::nullopt;
    MysqlResult result(mysql_store_result(connection));
    if (!result && mysql_errno(connection) != 0)
        return std::nullopt;
    return result;
}

std::optional<MysqlResult> run_query_patiently(MYSQL* connection, const std::string& statement) {
    constexpr int attempts = 20;
    for (int attempt = 1;; ++attempt) {
        std::optional<MysqlResult> result = run_query(connection, statement);
        if (result || attempt == attempts || kind_of(mysql_errno(connection)) != Kind::conflict)
            return result;
    }
}

MysqlResult run_query_or_throw(MYSQL* connection, const std::string& statement) {
    return or_failure(run_query(connection, statement), connection, unable_to_exec);
}

MysqlResult run_query_patiently_or_throw(MYSQL* connection, const std::string& statement,
                                         const char* what) {
    return or_failure(run_query_patiently(connection, statement), connection, what);
}

std::optional<Row> next_row(const MysqlResult& result) {
    if (!result)
        return std::nullopt;
    const MYSQL_ROW columns = mysql_fetch_row(result.get());
    if (columns == nullptr)
        return std::nullopt;
    return Row(columns, mysql_fetch_lengths(result.get()));
}
