// Statements to the panel database and their rows, as texts.
#pragma once

#include "lib/mysql_owned.h"

#include <cstddef>
#include <optional>
#include <string>

/// Sends `statement` (its exact length) and takes the whole result to the client. False when the
/// statement failed or its result could not be fetched: mysql_error() of the connection then says
/// why, and `result` is null. A statement that gives no result set leaves `result` null, which
/// counts as a result without rows.
bool run_query(MYSQL* connection, const std::string& statement, MysqlResult& result);

/// The same, and a statement that the server gave up to end a deadlock with another run, and which
/// has done nothing, is sent again, a few times, before that counts as failure.
bool run_query_patiently(MYSQL* connection, const std::string& statement, MysqlResult& result);

/// The same for everything that the run cannot go on without: on failure writes
/// "autoresponder: Unable to exec query :" and the server's error text to standard error and ends
/// the process through give_up.
MysqlResult run_query_or_exit(MYSQL* connection, const std::string& statement);

/// Thrown for a statement that another run stood in the way of: a deadlock, a lock that was not to
/// be had, a key that is taken, or, at "commit", a node of a cluster that was first. The
/// transaction is to be rolled back.
struct Conflict {};

/// The same for a statement of a transaction: a conflict throws, since there it is not the
/// statement alone that has to be tried again.
MysqlResult run_query_in_transaction(MYSQL* connection, const std::string& statement);

/// One row of a result, valid until the next row is fetched from it.
class Row {
public:
    Row(MYSQL_ROW columns, const unsigned long* lengths) : columns_(columns), lengths_(lengths) {}

    /// The column's bytes exactly as the database returned them; `when_null` for NULL.
    std::string text(std::size_t column, const char* when_null = "") const {
        return columns_[column] == nullptr ? std::string(when_null)
                                           : std::string(columns_[column], lengths_[column]);
    }

    bool is_null(std::size_t column) const { return columns_[column] == nullptr; }

private:
    MYSQL_ROW columns_;
    const unsigned long* lengths_;
};

/// The next row; none at the end, and none from a null result.
std::optional<Row> next_row(const MysqlResult& result);
