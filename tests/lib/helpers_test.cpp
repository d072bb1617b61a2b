#include "base/owned.h"
#include "lib/product_log.h"
#include "lib/utilities/asprintf_safe.h"
#include "lib/utilities/libcommon.h"
#include "lib/utilities/strlcpy.h"
#include "output.h"
#include "tests/support/cases.h"

#include <cerrno>
#include <cstdint>

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

} // namespace
