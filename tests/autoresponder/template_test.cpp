#include "autoresponder/template.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>

namespace {

constexpr par_templ table[] = {
    {"empty", ""}, {"gone", nullptr}, {"request_from", "alice"}, {"request_subject", "Hi"}};

TEST(Template, Replaces) {
    constexpr std::uint32_t stop = REPL_STOP_ON_OVERFLOW, keep = REPL_KEEP_UNKNOWN;
    const auto name = [](std::size_t length, const char* rest) {
        return std::string(1, '<').append(length, 'n').append(rest);
    };
    const struct {
        std::string source;
        unsigned long size;
        std::uint32_t flags;
        std::string result;
        std::uint32_t in_count, status;
    } cases[] = {
        {"Re <request_subject>", 999, 0, "Re Hi", 20, 0},
        {"<unknown>", 999, keep, "<unknown>", 9, REPL_UNKNOWN_KEPT},
        {"<unknown>", 999, 0, "", 9, 0},
        {"<Request_from>", 999, 0, "", 14, 0},
        {"<gone><empty>x", 999, 0, "x", 14, 0},
        {"<><>a<b", 999, 0, "<><>a<b", 7, 0},
        {"<><request_from>", 999, 0, "<>alice", 16, 0},
        {"a<", 999, 0, "a<", 2, 0},
        {"<<request_from>", 999, 0, "", 15, 0},
        {"<<request_from>", 999, keep, "<<request_from>", 15, REPL_UNKNOWN_KEPT},
        {name(32, ">"), 999, 0, "", 34, 0},
        {name(33, ">"), 999, 0, name(33, ">"), 35, 0},
        // The 33 characters hold an opening delimiter, which starts nothing.
        {name(28, "<gone>"), 999, 0, name(28, "<gone>"), 35, 0},
        {name(33, "<gone>x"), 999, 0, name(33, "x"), 41, 0},
        // Room: literal text, then values, that just fit and that do not.
        {"12345", 5, 0, "12345", 5, 0},
        {"123456", 5, 0, "12345", 5, 0},
        {"12345<gone>", 5, 0, "12345", 11, 0},
        {"123456<gone>", 5, stop, "12345", 5, 0},
        {"ab<request_from>", 7, stop, "abalice", 16, 0},
        {"ab<request_from>c", 7, 0, "abalice", 16, 0},
        {"ab<request_from>c", 6, 0, "abalic", 16, 0},
        {"ab<request_from>c", 6, stop, "ab", 2, REPL_STOPPED},
        {"ab<x><request_from>", 6, stop | keep, "ab<x>", 5, REPL_STOPPED | REPL_UNKNOWN_KEPT},
        {"ab<empty>c", 2, stop, "ab", 9, 0},
        {"anything", 0, 0, "", 0, 0},
    };
    for (const auto& c : cases) {
        std::string buffer(c.size + 2, '#');
        repl_ctl control = {7, 7, c.flags, 7};
        templ_replace('<', '>', table, std::size(table), c.source.c_str(), buffer.data(), c.size,
                      &control);
        EXPECT_EQ(buffer.substr(0, control.out_count), c.result) << c.source;
        EXPECT_EQ(control.in_count, c.in_count) << c.source;
        EXPECT_EQ(control.status, c.status) << c.source;
        EXPECT_EQ(buffer.back(), '#') << c.source;
        const bool ended = c.result.size() < c.size && (c.status & REPL_STOPPED) == 0;
        EXPECT_TRUE(!ended || buffer[c.result.size()] == '\0') << c.source;
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
    std::string names = "abcdefg";
    do {
        par_templ shuffled[7];
        char texts[7][2];
        for (int i = 0; i < 7; ++i) {
            std::snprintf(texts[i], sizeof texts[i], "%c", names[static_cast<std::size_t>(i)]);
            shuffled[i] = {texts[i], texts[i]};
        }
        templ_quick_sort(shuffled, 7);
        for (int i = 0; i < 7; ++i) {
            ASSERT_EQ(shuffled[i].name[0], 'a' + i) << names;
            ASSERT_EQ(shuffled[i].value, shuffled[i].name) << names;
        }
    } while (std::next_permutation(names.begin(), names.end()));
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(templ_found(table[i].name, table, 4), i);
    for (const char* name : {"", "a", "f", "h", "request_g", "z"})
        EXPECT_EQ(templ_found(name, table, 4), -1) << name;
    EXPECT_EQ(templ_found("empty", table, 1), 0);
    EXPECT_EQ(templ_found("gone", table, 1), -1);
    EXPECT_EQ(templ_found("empty", table, 0), -1);
    EXPECT_EQ(templ_found("empty", nullptr, 4), -1);
    EXPECT_EQ(templ_found(nullptr, table, 4), -1);
    templ_quick_sort(nullptr, 0);
    templ_quick_sort(nullptr, -1);
}

} // namespace
