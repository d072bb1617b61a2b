#include "lib/liblog.h"
#include "lib/product_log.h"
#include "output.h"

#include <cerrno>
#include <syslog.h>

namespace {

TEST(MessageLogger, BothStreams) {
    const std::string missing = "\nSystem error 2: No such file or directory\n";
    const struct {
        const char* program;
        int error;
        std::string text, written;
    } cases[] = {
        {"/usr/lib/prog", 0, "text", "prog: text\n"},
        {"prog", 0, "two\nlines\n", "prog: two\nlines\n"},
        {nullptr, 0, "", "\n"},
        {"prog", ENOENT, "text", "prog: text" + missing},
        {"prog", ENOENT, "text\n", "prog: text\n" + missing},
        {nullptr, ENOENT, std::string(4060, 'x'), std::string(4060, 'x') + missing},
        {nullptr, 0, std::string(4096, 'x'), std::string(4096, 'x') + "\n"},
        {"prog", ENOENT, std::string(5000, 'x'), "prog: " + std::string(5000, 'x') + missing},
    };
    for (const auto& c : cases) {
        const Output output = written_by([&] {
            PROGNAME = c.program;
            errno = c.error;
            messlog2(0, 0, "%s", c.text.c_str());
            EXPECT_EQ(errno, c.error);
        });
        EXPECT_EQ(output.err, c.written);
        EXPECT_EQ(output.out, c.written);
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
