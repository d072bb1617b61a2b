#include "autoresponder/limiter.h"

#include "autoresponder/diagnostics.h"
#include "autoresponder/number.h"
#include "autoresponder/panel_query.h"
#include "autoresponder/policy/switches.h"
#include "base/owned.h"
#include "base/text.h"
#include "codecs/utf8.h"
#include "lib/get_param.h"

#include <cstdint>
#include <string_view>

namespace {

/// Keeps two runs for the same rule and sender from both reading the same count: an advisory lock
/// of the database, held from construction to destruction. When the process ends in between, the
/// server releases it with the connection.
class BookkeepingLock {
public:
    BookkeepingLock(MYSQL* connection, const std::string& rule, std::string_view sender)
        : connection_(connection), name_(lock_name(rule, sender)) {
        MysqlResult result;
        held_ = run_query(connection_, concat({"select GET_LOCK('", name_, "', 5)"}), result);
        const std::optional<Row> row = next_row(result);
        held_ = held_ && row && row->text(0) == "1";
        // A reply too many is better than none.
        if (!held_)
            report({"autoresponder: Unable to lock reply bookkeeping, going on without"});
    }
    BookkeepingLock(const BookkeepingLock&) = delete;
    BookkeepingLock& operator=(const BookkeepingLock&) = delete;
    ~BookkeepingLock() {
        MysqlResult ignored;
        if (held_)
            run_query(connection_, concat({"select RELEASE_LOCK('", name_, "')"}), ignored);
    }

private:
    /// Names are limited to 64 characters, senders are not. That other senders share the lock where
    /// the hashes meet costs them a moment.
    static std::string lock_name(const std::string& rule, std::string_view sender) {
        std::uint64_t hash = 0xcbf29ce484222325; // FNV-1a
        for (const char c : sender)
            hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
        return concat({"autoresponder-", rule, "-", std::to_string(hash)});
    }

    MYSQL* connection_;
    std::string name_;
    bool held_ = false;
};

/// One rule's bookkeeping for one sender.
struct Bookkeeping {
    MYSQL* connection;
    const std::string& rule;
    /// Escaped for a quoted literal.
    std::string sender;

    void run(const std::string& statement) const { run_query_or_exit(connection, statement); }

    /// First column of the first row: `when_null` for NULL, `when_no_row` without a row.
    std::string value(const std::string& statement, const char* when_null,
                      const char* when_no_row) const {
        const MysqlResult result = run_query_or_exit(connection, statement);
        const std::optional<Row> row = next_row(result);
        return row ? row->text(0, when_null) : when_no_row;
    }
};

void purge_earlier_days(MYSQL* connection, const std::string& rule) {
    run_query_or_exit(connection, concat({"delete from resp_freq where rn_id=", rule,
                                          " and (TO_DAYS(NOW())-TO_DAYS(time_resp))>0"}));
}

std::string escape_sender(MYSQL* connection, const std::string& sender) {
    return MallocedText(escape_mysql_param(connection, sender.c_str())).get();
}

void count_one_more(const Bookkeeping& books, const std::string& num) {
    books.run(concat({"update resp_freq set num=", num, "+1 where rn_id=", books.rule,
                      " and email='", books.sender, "'"}));
}

/// Senders that share the oldest time go together.
void forget_oldest(const Bookkeeping& books) {
    const std::string oldest = books.value(
        concat({"select MIN(time_resp) from resp_freq where rn_id=", books.rule}), "0", "");
    books.run(concat(
        {"delete from resp_freq where rn_id=", books.rule, " and time_resp='", oldest, "'"}));
}

void remember(const Bookkeeping& books) {
    books.run(concat(
        {"insert into resp_freq set rn_id=", books.rule, ", email='", books.sender, "', num=1"}));
}

/// The sender as the table has it: one, whatever the case of its letters. A utf8mb4 literal with
/// characters beyond U+FFFF cannot be compared with a column of utf8mb3.
std::string bookkeeping_name(const std::string& sender) {
    return to_lower(configured_policy().standard_mail ? orvek::without_supplementary(sender)
                                                      : sender);
}

} // namespace

int can_response_freq(MYSQL* connection, const Mail_content* mail, std::string id,
                      std::string ans_freq, std::string mem_limit) {
    const std::int32_t limit = decimal_number(ans_freq);
    if (limit <= 0) {
        purge_earlier_days(connection, id);
        return 0;
    }
    // One sender, whatever the case of the letters: the column may tell them apart.
    const std::string sender = bookkeeping_name(mail->from);
    const BookkeepingLock lock(connection, id, sender);
    purge_earlier_days(connection, id);

    Bookkeeping books{connection, id, {}};
    const std::string entries =
        books.value(concat({"select COUNT(*) from resp_freq where rn_id=", id}), "0", "0");
    books.sender = escape_sender(connection, sender);

    const MysqlResult known = run_query_or_exit(
        connection,
        concat({"select num from resp_freq where rn_id=", id, " and email='", books.sender, "'"}));
    if (const std::optional<Row> row = next_row(known)) {
        const std::string num = row->text(0, "0");
        if (decimal_number(num) >= limit)
            return 0;
        count_one_more(books, num);
        return 1;
    }
    if (decimal_number(entries) >= decimal_number(mem_limit))
        forget_oldest(books);
    remember(books);
    return 1;
}
