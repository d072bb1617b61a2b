#include "lib/liblog.h"
#include "lib/read_configuration.h"
#include "tests/support/cases.h"

#include <cerrno>
#include <cstdint>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace {

std::string logged;

__attribute__((format(printf, 2, 3))) void collect(int level, const char* fmt, ...) {
    char text[512];
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(text, sizeof text, fmt, args);
    va_end(args);
    logged += std::to_string(level) + " " + text;
}

class Configuration : public testing::Test {
protected:
    void SetUp() override { orvek_log = collect; }
    void TearDown() override { orvek_log = before_; }

    void read(const std::string& text) {
        table_.reset(static_cast<conf_data*>(std::calloc(1, sizeof(conf_data))));
        logged.clear();
        const int file = memfd_create("configuration", 0);
        EXPECT_EQ(write(file, text.data(), text.size()), static_cast<ssize_t>(text.size()));
        const std::string path = "/dev/fd/" + std::to_string(file);
        EXPECT_EQ(conf_read_file_r(path.c_str(), table_.get()), 0);
        EXPECT_EQ(table_->finalized, 1);
        close(file);
    }

    std::string get(const std::string& name) {
        const char* const value = conf_get_r(name.c_str(), table_.get());
        return value == nullptr ? "(null)" : value;
    }

    LogFuncType* before_ = orvek_log;
    std::unique_ptr<conf_data, decltype(&conf_free_r)> table_ = {nullptr, conf_free_r};
};

TEST_F(Configuration, Lines) {
    for (const Case& row : cases("lib/panel.cases", "configuration", 3)) {
        read(row[0]);
        EXPECT_EQ(get("X"), row[1]) << row[0];
        EXPECT_EQ(logged, row[2]) << row[0];
    }
}

TEST_F(Configuration, Growth) {
    std::string text;
    for (char c = 'y'; c >= 'a'; --c)
        text += std::string("V_") + c + " " + c + "1\n";
    read(text);
    EXPECT_EQ(table_->nmemb, 25u);
    EXPECT_EQ(table_->size, 40u);
    for (char c = 'a'; c <= 'y'; ++c)
        EXPECT_EQ(get(std::string("V_") + c), std::string(1, c) + "1");
    EXPECT_EQ(conf_set_r("B", "new", table_.get()), 0);
    EXPECT_EQ(conf_set_r("V_a", "again", table_.get()), 0);
    EXPECT_EQ(table_->nmemb, 26u);
    for (const int sorted : {0, 1}) {
        EXPECT_EQ(table_->finalized, sorted);
        EXPECT_EQ(get("B") + get("V_a") + get("V_y") + get("C"), "newagainy1(null)");
        conf_finalize_r(table_.get());
    }
    EXPECT_STREQ(table_->data[0].key, "B");
}

TEST_F(Configuration, Failures) {
    conf_data table = {};
    logged.clear();
    EXPECT_EQ(conf_read_file_r("/no/such", &table), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(conf_read_file_r("/", &table), -1);
    EXPECT_EQ(errno, EISDIR);
    conf_entry entry;
    table = {&entry, SIZE_MAX / sizeof(conf_entry), SIZE_MAX / sizeof(conf_entry), 0};
    EXPECT_EQ(conf_set_r("X", "y", &table), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(logged, "12 unable to open configuration file /no/such: No such file or directory\n"
                      "12 Unable to read configuration file: Is a directory"
                      "12 Unable to read configuration: Cannot allocate memory");
}

} // namespace
