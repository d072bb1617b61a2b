// Statements to the panel database and their rows, as texts.
#pragma once

#include "lib/mysql_owned.h"

#include <cstddef>
#include <optional>
#include <string>

/// Sends `statement` (its exact length) and takes the whole result to the client. None when the
/// statement failed or its result could not be fetched: mysql_error() of the connection then says
/// why. A statement that gives no result set gives a null one, which counts as a result without
/// rows.
std::optional<MysqlResult> run_query(MYSQL* connection, const std::string& statement);

/// The same, and a statement that the server gave up to end a deadlock with another run, and which
/// has done nothing, is sent again, a few times, before that counts as failure.
std::optional<MysqlResult> run_query_patiently(MYSQL* connection, const std::string& statement);

inline constexpr char unable_to_exec[] = "autoresponder: Unable to exec query :";

/// A statement that failed, thrown. Where nobody handles it, the run ends with it (ending.h).
struct QueryFailure {
    enum class Kind {
        conflict,  ///< another run was in the way, by a deadlock or, at "commit", on another node
        locked,    ///< a row stayed locked for as long as the server waits
        taken_key, ///< a row with this key is there
        data,      ///< it is what the statement says, and so the mail, that cannot be
        lost,      ///< the connection ended before the answer: done or not
        other
    } kind;
    /// In the server's words.
    std::string text;
    /// What is said in front of them.
    const char* what = unable_to_exec;

    /// Whether it may be the mail's own bytes that caused it: then it would fail again.
    bool is_for_good() const { return kind == Kind::data || kind == Kind::taken_key; }
};

/// run_query, and a failure is thrown: in a transaction it is not the statement alone that has to
/// be tried again.
MysqlResult run_query_or_throw(MYSQL* connection, const std::string& statement);

/// run_query_patiently, and the same: for statements that stand alone.
MysqlResult run_query_patiently_or_throw(MYSQL* connection, const std::string& statement,
                                         const char* what = unable_to_exec);

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
