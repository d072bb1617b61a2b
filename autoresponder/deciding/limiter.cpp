#include "autoresponder/deciding/limiter.h"

#include "autoresponder/run/ending.h"
#include "autoresponder/run/number.h"
#include "autoresponder/run/panel_query.h"
#include "base/owned.h"
#include "base/report.h"
#include "base/text.h"
#include "lib/get_param.h"

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <errmsg.h>
#include <string_view>
#include <utility>

namespace {

using Kind = QueryFailure::Kind;

/// FNV-1a, of 64 bits. That two senders meet in one costs the second a moment, or an answer.
std::string hash_of(std::string_view sender) {
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const char c : sender)
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    return std::to_string(hash);
}

/// The sender as the table has it: one, whatever the case of its letters, and in ASCII, which every
/// column can hold and compare.
std::string bookkeeping_name(const Mail_content& mail) {
    constexpr std::size_t longest = 254, kept = 190;
    const std::string name = escaped(to_lower(mail.sender()), "\\x", is_ascii);
    return name.size() <= longest ? name : name.substr(0, kept) + hash_of(name);
}

/// One rule's bookkeeping for one sender.
struct Bookkeeping {
    Bookkeeping(const Run& run, const ResponderRule& of)
        : connection(run.connection.get()), rule(of.id), name(bookkeeping_name(run.reading.mail)),
          sender(MallocedText(escape_mysql_param(connection, name.c_str())).get()), days(of.days()),
          limit(decimal_number(of.ans_freq)), mem_limit(decimal_number(of.mem_limit)) {}

    MYSQL* connection;
    const std::string& rule;
    std::string name;
    /// The name, escaped for a quoted literal.
    std::string sender;
    /// That answers are counted for.
    int days;
    std::int32_t limit;
    std::int32_t mem_limit;

    MysqlResult run(const std::string& statement) const {
        return run_query_or_throw(connection, statement);
    }

    /// First column of the first row: `when_null` for NULL; none without a row.
    std::optional<std::string> value(const std::string& statement,
                                     const char* when_null = "0") const {
        const MysqlResult result = run(statement);
        const std::optional<Row> row = next_row(result);
        return row ? std::optional(row->text(0, when_null)) : std::nullopt;
    }

    /// The rule's rows and the sender's row, as statements go on.
    std::string rows() const { return " where rn_id=" + rule; }
    std::string row() const { return concat({rows(), " and email='", sender, "'"}); }
};

/// Keeps two runs for the same rule and sender from both reading the same count where the table
/// knows neither transactions nor a unique key, and from getting into each other's way where it
/// does: an advisory lock of the database, held from construction to destruction. When the process
/// ends in between, the server releases it with the connection. Other servers of a cluster do not
/// know it.
class BookkeepingLock {
public:
    explicit BookkeepingLock(const Bookkeeping& books)
        : connection_(books.connection),
          name_(concat({"autoresponder-", books.rule, "-", hash_of(books.name)})) {
        const std::optional<MysqlResult> result =
            run_query(connection_, concat({"select GET_LOCK('", name_, "', 5)"}));
        const std::optional<Row> row = result ? next_row(*result) : std::nullopt;
        held_ = row && row->text(0) == "1";
        // A reply too many is better than none.
        if (!held_ && mysql_errno(connection_) < CR_MIN_ERROR)
            report({"autoresponder: Unable to lock reply bookkeeping, going on without"});
    }
    BookkeepingLock(const BookkeepingLock&) = delete;
    BookkeepingLock& operator=(const BookkeepingLock&) = delete;
    ~BookkeepingLock() {
        if (held_)
            run_query(connection_, concat({"select RELEASE_LOCK('", name_, "')"}));
    }

private:
    MYSQL* connection_;
    std::string name_;
    bool held_ = false;
};

/// What no longer counts, as a condition.
std::string is_of_earlier_days(const Bookkeeping& books) {
    return concat({"(TO_DAYS(NOW())-TO_DAYS(time_resp))>", std::to_string(books.days - 1)});
}

std::string purge_of_earlier_days(const Bookkeeping& books) {
    return concat({"delete from resp_freq", books.rows(), " and ", is_of_earlier_days(books)});
}

std::string count_of_sender(const Bookkeeping& books) {
    return "select num from resp_freq" + books.row();
}

/// What was read before may have changed since. The row is read once more and locked, on this
/// server and, up to the commit, against all others of a cluster, and whether there may be one more
/// is asked anew.
bool count_one_more(const Bookkeeping& books) {
    const std::optional<std::string> num = books.value(count_of_sender(books) + " for update");
    if (!num)
        throw QueryFailure{Kind::conflict, "the sender has just been evicted"};
    if (decimal_number(*num) >= books.limit)
        return false;
    books.run(concat({"update resp_freq set num=", *num, "+1", books.row()}));
    return true;
}

/// Those with the oldest time, as statements go on behind "from". Senders that share it go
/// together.
std::string oldest_entries(const Bookkeeping& books, const std::string& condition) {
    const std::optional<std::string> oldest =
        books.value(concat({"select MIN(time_resp) from resp_freq", books.rows(), condition}));
    return concat({" from resp_freq", books.rows(), " and time_resp='", oldest.value_or(""), "'"});
}

/// Of two first answers one meets the other's key.
std::string insert_of_sender(const Bookkeeping& books) {
    return concat(
        {"insert into resp_freq set rn_id=", books.rule, ", email='", books.sender, "', num=1"});
}

/// The statement with which an answer counts.
void count_by(const Bookkeeping& books, const std::string& statement) {
    try {
        books.run(statement);
    } catch (const QueryFailure& failure) {
        if (failure.kind == Kind::lost)
            report({"autoresponder: Connection lost while an answer was counted: it is not given,"
                    " and may count all the same"});
        throw;
    }
}

/// How the bookkeeping stands as far as `condition` lets it count.
LimiterVerdict read_verdict(const Bookkeeping& books, const std::string& condition) {
    const std::optional<std::string> entries =
        books.value(concat({"select COUNT(*) from resp_freq", books.rows(), condition}));
    const std::optional<std::string> num = books.value(count_of_sender(books) + condition);
    LimiterVerdict verdict;
    verdict.days = books.days;
    if (num)
        verdict.answers = decimal_number(*num);
    verdict.most_answers = books.limit;
    verdict.senders = decimal_number(entries.value_or("0"));
    verdict.most_senders = books.mem_limit;
    return verdict;
}

/// Whether the sender may be answered; if so, it is recorded, in a transaction, which a statement
/// by itself is without more ado. What comes before that only reads, or deletes what no longer
/// counts: outside, it keeps no lock, so that a crowd does not wait for one another, and a mail
/// that is refused costs no transaction.
bool decide(const Bookkeeping& books) {
    books.run(purge_of_earlier_days(books));
    const LimiterVerdict verdict = read_verdict(books, "");
    if (!verdict.allows())
        return false;
    if (!verdict.answers && !verdict.evicts()) {
        count_by(books, insert_of_sender(books));
        return true;
    }
    books.run("begin");
    bool may_answer = true;
    if (verdict.answers) {
        may_answer = count_one_more(books);
    } else {
        books.run("delete" + oldest_entries(books, ""));
        books.run(insert_of_sender(books));
    }
    count_by(books, "commit");
    return may_answer;
}

/// Whether the key that is taken is that of rule and sender, in either order: the server names its
/// values, or the beginning of them.
bool is_own_key(const std::string& failure, const Bookkeeping& books) {
    constexpr std::size_t shown = 60;
    const auto names = [&](const std::string& first, const std::string& second) {
        return contains(failure, "'" + concat({first, "-", second}).substr(0, shown));
    };
    return names(books.rule, books.name) || names(books.name, books.rule);
}

/// Should the answer not be sent after all.
void have_taken_back(const Bookkeeping& books) {
    take_back_on_retry(books.connection, "update resp_freq set num=num-1" + books.row());
    take_back_on_retry(books.connection, "delete from resp_freq" + books.row() + " and num<=0");
}

/// Twice as long after each try, up to a tenth of a second and some, and not the same for two runs
/// that stood in each other's way.
void pause_after(int attempt) {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const long longest = 1000000L << std::min(attempt, 7);
    const timespec pause = {0, longest / 2 + now.tv_nsec % (longest / 2)};
    nanosleep(&pause, nullptr);
}

/// How things stand today, as they are read where nothing is recorded.
LimiterVerdict verdict_of_today(const Bookkeeping& books) {
    // As if earlier days had been purged.
    const std::string counts = concat({" and (", is_of_earlier_days(books), ") is not true"});
    LimiterVerdict verdict = read_verdict(books, counts);
    if (verdict.answers)
        verdict.since =
            books.value("select time_resp from resp_freq" + books.row(), "").value_or("");
    if (!verdict.evicts())
        return verdict;
    const MysqlResult rows = books.run("select email" + oldest_entries(books, counts));
    while (const std::optional<Row> row = next_row(rows))
        verdict.evicted.push_back(row->text(0));
    return verdict;
}

/// Decides and records, as often as others stand in the way.
bool decide_patiently(const Bookkeeping& books) {
    constexpr int attempts = 20;
    constexpr std::time_t seconds = 60; // a try may have waited that long for a lock
    const std::time_t begin = std::time(nullptr);
    bool waited = false;
    for (int attempt = 1;; ++attempt) {
        try {
            const bool may_answer = decide(books);
            if (may_answer)
                have_taken_back(books);
            return may_answer;
        } catch (QueryFailure& failure) {
            if (failure.kind == Kind::taken_key && is_own_key(failure.text, books))
                failure.kind = Kind::conflict;
            // A row that stays locked has cost the server's wait.
            const bool goes_on = failure.kind == Kind::conflict ||
                                 (failure.kind == Kind::locked && !std::exchange(waited, true));
            if (!goes_on || attempt == attempts || std::time(nullptr) - begin > seconds)
                throw;
        }
        run_query(books.connection, "rollback");
        pause_after(attempt);
    }
}

} // namespace

int can_response_freq(Run& run, const ResponderRule& rule) {
    const Bookkeeping books(run, rule);
    if (!run.acts()) {
        run.account.rule().limit = verdict_of_today(books);
        return run.account.rule().limit->allows();
    }
    if (books.limit <= 0) {
        run_query_patiently_or_throw(books.connection, purge_of_earlier_days(books));
        return 0;
    }
    const BookkeepingLock lock(books);
    return decide_patiently(books);
}
