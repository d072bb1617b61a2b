#include "autoresponder/run/retry_later.h"

#include "autoresponder/run/panel_query.h"
#include "autoresponder/run/switches.h"
#include "base/report.h"
#include "lib/dbconnect_legacy.h"

#include <deque>
#include <new>

namespace {

struct Recorded {
    MYSQL* connection = nullptr;
    std::deque<std::string> taken_back_by;
} recorded;

bool ruled_out = false;

/// Begins with the first statement that has not been executed yet.
bool take_back_over(MYSQL* connection) {
    MysqlResult ignored;
    for (std::deque<std::string>& statements = recorded.taken_back_by; !statements.empty();
         statements.pop_front()) {
        if (!run_query_patiently(connection, statements.front(), ignored))
            return false;
    }
    return true;
}

/// The run's connection may be what has failed, but a new one could wait for its locks.
bool take_back() {
    if (recorded.taken_back_by.empty())
        return true;
    MysqlResult ignored;
    run_query(recorded.connection, "rollback", ignored);
    if (take_back_over(recorded.connection))
        return true;
    const MysqlConnection another(db_connect());
    return another && take_back_over(another.get());
}

} // namespace

void rule_out_retry() {
    ruled_out = true;
    recorded.taken_back_by.clear();
}

bool is_retry_possible() {
    return !ruled_out && configured_policy().retry_status != 0;
}

void take_back_on_retry(MYSQL* connection, const std::string& statement) {
    recorded.connection = connection;
    if (is_retry_possible())
        recorded.taken_back_by.push_back(statement);
}

int retry_status() {
    if (!is_retry_possible())
        return 0;
    ruled_out = true; // a failure in what follows is the end
    try {
        if (!take_back())
            report({"autoresponder: Unable to take back what was counted for a mail to be tried "
                    "again"});
    } catch (const std::bad_alloc&) {
        // A mail that is tried again and counted twice is better than one that is lost.
    }
    return configured_policy().retry_status;
}
