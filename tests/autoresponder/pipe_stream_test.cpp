#include "autoresponder/pipe_stream.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

namespace {

std::string read_all(int fd) {
    std::string text;
    char block[4096];
    for (ssize_t count; (count = read(fd, block, sizeof block)) > 0;)
        text.append(block, static_cast<std::size_t>(count));
    return text;
}

TEST(PipeStream, DestructionFlushesAndClosesTheDescriptor) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    {
        ofd_pipestream stream(ends[1]);
        stream << "first" << std::endl << "last, not flushed";
        EXPECT_TRUE(stream.good());
    }
    EXPECT_EQ(fcntl(ends[1], F_GETFD), -1);
    EXPECT_EQ(read_all(ends[0]), "first\nlast, not flushed");
    close(ends[0]);
}

TEST(PipeStream, NoDescriptorIsAFailureFromTheStart) {
    ofd_pipestream stream(-1);
    EXPECT_TRUE(stream.fail());
    stream << "lost";
    EXPECT_TRUE(stream.fail());
}

TEST(PipeStream, ADescriptorThatCannotBeWrittenFails) {
    ofd_pipestream stream(open("/dev/null", O_RDONLY));
    stream << "x" << std::endl;
    EXPECT_FALSE(stream.good());
}

} // namespace
