#include "autoresponder/attachments.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

class Attachments : public testing::Test {
protected:
    void SetUp() override {
        char name[] = "/tmp/attachments-test-XXXXXX";
        top_ = mkdtemp(name);
        directory_ = top_ / "box/@attachments";
        fs::create_directories(directory_ / "sub");
        std::ofstream(directory_ / "file") << "inside";
        std::ofstream(directory_ / "sub/deep") << "deep";
        std::ofstream(top_ / "box/secret") << "outside";
        fs::create_symlink("file", directory_ / "inner");
        fs::create_symlink("../file", directory_ / "sub/up");
        fs::create_symlink("../secret", directory_ / "outward");
        fs::create_symlink("..", directory_ / "parent");
        fs::create_symlink(directory_ / "file", directory_ / "absolute");
        fs::create_symlink(directory_.parent_path() / "secret", directory_ / "absolute_outward");
        fs::create_symlink("../@attachments/sub", directory_ / "out_and_in");
        fs::create_symlink("nowhere", directory_ / "dangling");
        mkfifo((directory_ / "fifo").c_str(), 0600);
    }
    void TearDown() override { fs::remove_all(top_); }

    fs::path top_;
    fs::path directory_;
};

TEST_F(Attachments, NamesReachNoFurtherThanTheDirectory) {
    const struct {
        const char* name;
        bool exists;        // confined by the kernel
        bool exists_walked; // the walk follows no links
    } cases[] = {
        {"file", true, true},
        {"/file", true, true},
        {"sub/deep", true, true},
        {"sub//deep", true, true},
        {"./file", true, true},
        {"fifo", true, true},
        {"", true, true},
        {"inner", true, false},
        {"sub/up", true, false},
        {"sub/../file", true, false},
        {"dangling", false, false},
        {"absent", false, false},
        {"file/x", false, false},
        {"../secret", false, false},
        {"sub/../../secret", false, false},
        {"outward", false, false},
        {"parent/secret", false, false},
        {"absolute", true, false},
        {"out_and_in/deep", true, false},
        {"absolute_outward", false, false},
        {"/etc/passwd", false, false},
        {"..", false, false},
    };
    const Descriptor root(open(directory_.c_str(), O_PATH | O_DIRECTORY));
    for (const auto& c : cases) {
        EXPECT_EQ(attachment_exists(directory_, c.name), c.exists) << c.name;
        const std::string name(c.name);
        const std::string relative = name.substr(name.find_first_not_of('/') == std::string::npos
                                                     ? name.size()
                                                     : name.find_first_not_of('/'));
        EXPECT_EQ(static_cast<bool>(attachments_detail::walk_beneath(
                      root.get(), relative.empty() ? "." : relative, O_PATH)),
                  c.exists_walked)
            << c.name;
    }
    EXPECT_FALSE(attachment_exists(directory_ / "nowhere", "file"));
}

TEST_F(Attachments, OnlyRootLinksToARepository) {
    const bool is_root = geteuid() == 0;
    const auto exists = [&](const char* box) {
        const fs::path directory = top_ / box / "@attachments";
        EXPECT_EQ(attachment_exists(directory, "file"),
                  static_cast<bool>(open_attachment(directory, "file")));
        return attachment_exists(directory, "file");
    };
    fs::create_symlink("box", top_ / "linked");
    fs::create_directory(top_ / "other");
    const fs::path repository = top_ / "other/@attachments";
    fs::create_symlink(directory_, repository);
    EXPECT_TRUE(exists("box"));
    EXPECT_EQ(exists("linked"), is_root);
    EXPECT_EQ(exists("other"), is_root);
    fs::create_hard_link(repository, top_ / "taken");
    EXPECT_FALSE(exists("other"));
    if (!is_root)
        return;
    fs::remove(top_ / "taken");
    EXPECT_TRUE(exists("other"));
    for (const char* link : {"linked", "other/@attachments"})
        ASSERT_EQ(lchown((top_ / link).c_str(), 65534, 65534), 0);
    EXPECT_FALSE(exists("linked"));
    EXPECT_FALSE(exists("other"));
}

TEST_F(Attachments, OnlyFilesAreRead) {
    char text[16] = {};
    const Descriptor file = open_attachment(directory_, "inner");
    ASSERT_TRUE(file);
    EXPECT_EQ(read(file.get(), text, sizeof text), 6);
    EXPECT_STREQ(text, "inside");

    errno = 0;
    EXPECT_FALSE(open_attachment(directory_, "fifo")); // and does not hang
    EXPECT_EQ(errno, ENXIO);
    EXPECT_FALSE(open_attachment(directory_, "absent"));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(open_attachment(directory_, "outward"));
    EXPECT_EQ(errno, EXDEV);
}

} // namespace
