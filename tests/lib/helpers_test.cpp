#include "base/owned.h"
#include "lib/liblog.h"
#include "lib/product_log.h"
#include "lib/utilities/asprintf_safe.h"
#include "lib/utilities/libcommon.h"
#include "lib/utilities/strlcpy.h"
#include "tests/support/cases.h"
#include "tests/support/output.h"

#include <cerrno>
#include <cstdint>
#include <syslog.h>

/// Address sanitizer: no memory is a null pointer, as everywhere.
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}

namespace {

TEST(Helpers, Replace) {
    for (const Case& row : cases("lib/panel.cases", "replace", 5)) {
        std::string dst(100, '~');
        const unsigned room = static_cast<unsigned>(std::stoul(row[3]));
        EXPECT_EQ(strn_replace(row[0].c_str(), dst.data(), row[1].c_str(), row[2].c_str(), room),
                  dst.data());
        EXPECT_EQ(dst.c_str(), row[4]) << row[0] << " " << room;
    }
    char text[4];
    EXPECT_STREQ(strn_replace("abc", text, nullptr, "y", sizeof text), "abc");
    EXPECT_EQ(strn_replace("a", nullptr, "a", "b", 5), nullptr);
}

TEST(Helpers, Text) {
    for (const auto& [text, right, both] : std::initializer_list<std::array<std::string, 3>>{
             {"  x y \n", "  x y", "x y"}, {" \t\n\v\f\r", "", ""}, {"", "", ""}}) {
        std::string buffer = text;
        EXPECT_EQ(orvek_rtrim(buffer.data()), right);
        buffer = text;
        EXPECT_EQ(orvek_trim(buffer.data()), both);
        EXPECT_EQ(buffer.c_str(), right); // the beginning stays
    }
    std::string text = "A.b.C\xc4";
    char copy[8] = "~~~~~~~";
    EXPECT_STREQ(orvek_chch(text.data(), copy, '.', '\0'), "A");
    EXPECT_STREQ(orvek_chch(text.data(), copy, '\xc4', 'c'), "A.b.Cc");
    EXPECT_EQ(orvek_chch(text.data(), nullptr, '.', '/'), text.data());
    EXPECT_STREQ(MallocedText(strtolower_dynamic(text.c_str())).get(), "a/b/c\xc4");
    EXPECT_EQ(text, "A/b/C\xc4");
    strtolower(text.data());
    EXPECT_EQ(text, "a/b/c\xc4");
    strtolower(nullptr);
    EXPECT_EQ(strtolower_dynamic(nullptr), nullptr);

    EXPECT_EQ(strlcpy(copy, "abcdef", 4), 6u);
    EXPECT_STREQ(copy, "abc");
    EXPECT_EQ(strlcpy(copy, "xy", 0), 2u);
    EXPECT_STREQ(copy, "abc");
    const std::string huge(10000, 'x');
    EXPECT_EQ(MallocedText(asprintf_safe("%s%d", huge.c_str(), 1)).get(), huge + "1");
    const MallocedText nothing(static_cast<char*>(realloc_safe(malloc_safe(3), 0)));
    EXPECT_TRUE(nothing); // never null
}

TEST(Helpers, EndsOfTheProcess) {
    const std::string no_memory = "\nSystem error 12: Cannot allocate memory\n";
    const std::string missing = "t: Missing parameter '--name' or previous parameter is empty.\n";
    const struct {
        std::function<void()> body;
        std::string message;
        int status = 1;
    } cases[] = {
        {[] { std::free(malloc_safe(SIZE_MAX / 2 - 4)); }, "t: alloc(-5)" + no_memory},
        {[] { std::free(realloc_safe(nullptr, SIZE_MAX / 2)); }, "t: alloc(-1)" + no_memory},
        {[] { check_parameter(1, "", "--name"); }, missing},
        {[] { check_parameter(2, nullptr, "--name"); }, missing},
        {[] { check_parameter(0, nullptr, "--name"), check_parameter(1, "x", "--name"); }, "", 0},
        {[] { check_unprocessed_parameters(3, 3, nullptr); }, "", 0},
        {[] { check_unprocessed_parameters(3, 2, nullptr); },
         "t: Some parameters in command string are left unprocessed. Check parameters please.\n"},
        {[] { messlog2(3, 0, "%d%%", 7); }, "t: 7%\n", 3},
    };
    for (const auto& c : cases) {
        const Output output = written_by([&] {
            EXPECT_EQ(exit_status_of([&] {
                          PROGNAME = "t";
                          errno = 0;
                          c.body();
                      }),
                      c.status);
        });
        EXPECT_TRUE(output.err.ends_with(c.message)) << output.err; // behind a sanitizer's warning
        EXPECT_EQ(output.out, c.message);
    }
}

TEST(Helpers, MessagesOnBothStreams) {
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

TEST(Helpers, DestinationsOfTheLog) {
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
