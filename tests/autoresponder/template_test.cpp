#include "autoresponder/outgoing/template.h"

#include "tests/support/cases.h"

#include <algorithm>
#include <array>
#include <string>

namespace {

constexpr par_templ table[] = {
    {"empty", ""}, {"gone", nullptr}, {"request_from", "alice"}, {"request_subject", "Hi"}};

TEST(Template, Replaces) {
    const auto either = [](const std::string& text, const char* one, std::uint32_t one_bit,
                           const char* other, std::uint32_t other_bit) {
        return (text.find(one) == std::string::npos ? 0 : one_bit) |
               (text.find(other) == std::string::npos ? 0 : other_bit);
    };
    for (const Case& row : cases("autoresponder/responder.cases", "templates", 6)) {
        const std::string &source = row[0], &result = row[3];
        const std::size_t size = std::stoul(row[1]);
        const auto flags = either(row[2], "stop", REPL_STOP_ON_OVERFLOW, "keep", REPL_KEEP_UNKNOWN);
        const auto status = either(row[5], "stopped", REPL_STOPPED, "kept", REPL_UNKNOWN_KEPT);
        std::string buffer(size + 2, '#');
        repl_ctl control = {7, 7, flags, 7};
        templ_replace('<', '>', table, std::size(table), source.c_str(), buffer.data(), size,
                      &control);
        EXPECT_EQ(buffer.substr(0, control.out_count), result) << source;
        EXPECT_EQ(control.in_count, std::stoul(row[4])) << source;
        EXPECT_EQ(control.status, status) << source;
        EXPECT_EQ(buffer.back(), '#') << source;
        const bool ended = result.size() < size && (status & REPL_STOPPED) == 0;
        EXPECT_TRUE(!ended || buffer[result.size()] == '\0') << source;
    }
}

TEST(Template, EmptyTableGivesTheEmptyText) {
    char buffer[8] = "#######";
    repl_ctl control = {};
    EXPECT_STREQ(templ_replace('<', '>', table, 0, "text", buffer, 7, &control), "");
    EXPECT_STREQ(templ_replace('<', '>', table, 1, nullptr, buffer, 7, &control), "");
    EXPECT_EQ(control.in_count + control.out_count, 0u);
}

TEST(Template, SortsAndFinds) {
    const auto before = [](const par_templ& one, const par_templ& other) {
        return std::string_view(one.name) < other.name;
    };
    par_templ shuffled[] = {{"a", ""}, {"b", ""}, {"c", ""}, {"c", ""}, {"d", ""}, {"e", ""}};
    do {
        auto sorted = std::to_array(shuffled);
        templ_quick_sort(sorted.data(), sorted.size());
        ASSERT_TRUE(std::is_sorted(sorted.begin(), sorted.end(), before));
    } while (std::next_permutation(std::begin(shuffled), std::end(shuffled), before));
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(templ_found(table[i].name, table, 4), i);
    for (const char* name : {"", "a", "f", "h", "request_g", "z"})
        EXPECT_EQ(templ_found(name, table, 4), -1) << name;
    EXPECT_EQ(templ_found("empty", nullptr, 4), -1);
    EXPECT_EQ(templ_found(nullptr, table, 4), -1);
    templ_quick_sort(nullptr, 0);
}

} // namespace
