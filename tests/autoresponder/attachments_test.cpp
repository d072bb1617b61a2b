#include "autoresponder/outgoing/attachments.h"

#include "tests/support/cases.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
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
    for (const Case& row : cases("autoresponder/responder.cases", "attachments", 2))
        EXPECT_EQ(attachment_exists(directory_, row[0]), row[1] == "yes") << row[0];
    EXPECT_FALSE(attachment_exists(directory_ / "nowhere", "file"));
    EXPECT_TRUE(
        attachment_exists((top_ / "box").string() + "//@attachments", "file")); // no mailbox name
    // A link that has come meanwhile.
    for (const char* path : {"./sub/deep", "./inner/", "parent/secret/"})
        EXPECT_EQ(static_cast<bool>(open_without_links(Descriptor(open(directory_.c_str(), O_PATH)),
                                                       path, O_RDONLY)),
                  std::string_view(path).find("sub") != std::string_view::npos);
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
    EXPECT_FALSE(open_attachment(directory_, "outward"));
    EXPECT_EQ(errno, EXDEV);

    // Another's file that was linked into the repository.
    fs::create_hard_link(top_ / "box/secret", directory_ / "hard");
    EXPECT_TRUE(open_attachment(directory_, "hard"));
    if (geteuid() != 0)
        return;
    ASSERT_EQ(chown((directory_ / "hard").c_str(), 65534, 65534), 0);
    EXPECT_FALSE(open_attachment(directory_, "hard"));
    EXPECT_EQ(errno, EMLINK);
    fs::remove(top_ / "box/secret");
    EXPECT_TRUE(open_attachment(directory_, "hard"));
}

} // namespace
