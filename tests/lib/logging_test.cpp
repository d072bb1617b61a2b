#include "lib/liblog.h"
#include "lib/product_log.h"
#include "output.h"
#include "tests/support/cases.h"

#include <cerrno>
#include <syslog.h>

namespace {

TEST(MessageLogger, BothStreams) {
    for (const Case& row : cases("lib/panel.cases", "messages", 4)) {
        const Output output = written_by([&] {
            PROGNAME = row[0] == "-" ? nullptr : row[0].c_str();
            errno = std::stoi(row[1]);
            messlog2(0, 0, "%s", row[2].c_str());
            EXPECT_EQ(errno, std::stoi(row[1]));
        });
        EXPECT_EQ(output.err, row[3]);
        EXPECT_EQ(output.out, row[3]);
    }
    PROGNAME = nullptr;
}

TEST(LevelLogger, Destinations) {
    const auto text_at = [](std::initializer_list<int> levels) {
        const Output output = written_by([levels] {
            errno = ENOENT; // of no interest here
            for (const int level : levels)
                orvek_log(level, "%s%d", "level ", level);
        });
        EXPECT_EQ(output.out, output.err);
        return output.out;
    };
    EXPECT_EQ(text_at({3, 6, 7, 12}), "level 3\nlevel 6\n");
    orvek_log_init("console", 7, LOG_USER, 0, "test");
    EXPECT_EQ(text_at({7, 8}), "level 7\n");
    orvek_log_init("console", -3, LOG_USER, 0, "test");
    EXPECT_EQ(text_at({0, 1}), "level 0\n");
    orvek_log_init(nullptr, 6, LOG_USER, 0, "test");
    EXPECT_TRUE(orvek_log == &syslog && orvek_logv == &vsyslog);
    orvek_log_init("console", 6, LOG_MAIL, 0, "test");
    EXPECT_EQ(text_at({6, 7}), "level 6\n");
}

} // namespace
