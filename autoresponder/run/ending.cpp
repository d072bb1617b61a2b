#include "autoresponder/run/ending.h"

#include "autoresponder/run/panel_query.h"
#include "autoresponder/run/temporary_file.h"
#include "base/report.h"
#include "codecs/idn.h"
#include "lib/dbconnect_legacy.h"
#include "lib/product_log.h"

#include <cerrno>
#include <cstdlib>
#include <deque>
#include <exception>
#include <new>

namespace {

Statuses chosen;
bool ruled_out = false;

/// What was recorded over the connection is taken back by the statements.
MYSQL* recorder = nullptr;
std::deque<std::string> taken_back_by;

/// Begins with the first statement that has not been executed yet.
bool take_back_over(MYSQL* connection) {
    for (; !taken_back_by.empty(); taken_back_by.pop_front()) {
        if (!run_query_patiently(connection, taken_back_by.front()))
            return false;
    }
    return true;
}

/// The run's connection may be what has failed, but a new one could wait for its locks.
bool take_back() {
    if (taken_back_by.empty())
        return true;
    run_query(recorder, "rollback");
    if (take_back_over(recorder))
        return true;
    const MysqlConnection another(db_connect());
    return another && take_back_over(another.get());
}

int end_for_now() {
    remove_temporary_files();
    if (!is_retry_possible())
        return chosen.done;
    ruled_out = true; // a failure in what follows is the end
    try {
        if (!take_back())
            report({"autoresponder: Unable to take back what was counted for a mail to be tried "
                    "again"});
    } catch (const std::bad_alloc&) {
        // A mail that is tried again and counted twice is better than one that is lost.
    }
    if (chosen.given_up_after == 0)
        return chosen.for_now;
    report_consequence({"autoresponder: Given up, the mail is older than ",
                        std::to_string(chosen.given_up_after), " hours"});
    return chosen.done;
}

} // namespace

void set_statuses(const Statuses& statuses) {
    chosen = statuses;
}

void prepare_endings() {
    std::set_terminate(end_on_exception);
    // Any failure may be for want of memory or processes.
    failure_status = [] { return is_retry_possible() ? end_for_now() : chosen.in_failure; };
}

void correct_exit() {
    remove_temporary_files();
    std::exit(chosen.done);
}

void give_up() {
    std::exit(end_for_now());
}

void give_up_if_retried() {
    if (is_retry_possible())
        give_up();
}

void end_on_exception() {
    errno = 0; // so that the message shows no error of some earlier call
    try {
        if (const std::exception_ptr failure = std::current_exception())
            std::rethrow_exception(failure);
    } catch (const QueryFailure& failure) {
        report({failure.what, failure.text});
        if (failure.is_for_good())
            rule_out_retry();
        give_up();
    } catch (const std::bad_alloc&) {
        end_with_failure("Program failed due to exhausted memory");
    } catch (const orvek::idn::IdnaError& failure) {
        rule_out_retry(); // it would come again, as would all that follow
        end_with_failure("IDN conversion error: %s", failure.what());
    } catch (const std::exception& failure) {
        rule_out_retry();
        end_with_failure("Program failed: %s", failure.what());
    } catch (...) {
    }
    rule_out_retry();
    end_with_failure("Program failed");
}

bool is_retry_possible() {
    return !ruled_out && chosen.for_now != chosen.done;
}

void rule_out_retry() {
    ruled_out = true;
    taken_back_by.clear();
}

void take_back_on_retry(MYSQL* connection, const std::string& statement) {
    recorder = connection;
    if (is_retry_possible())
        taken_back_by.push_back(statement);
}
