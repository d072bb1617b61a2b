// What a piece of code, its children included, writes to the two output streams.
#pragma once

#include "base/owned.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

struct Output {
    std::string out, err;
};

inline Output written_by(const std::function<void()>& body) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    body();
    const std::string err = testing::internal::GetCapturedStderr();
    return {testing::internal::GetCapturedStdout(), err};
}

/// The beginning of a file, which may be longer.
inline std::string content(const Descriptor& file) {
    char text[4096];
    const ssize_t count = pread(file.get(), text, sizeof text, 0);
    return {text, static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
}

/// Exit status of a process in which `body` runs; 0 when it returns, -1 without an exit or a
/// process.
inline int exit_status_of(const std::function<void()>& body) {
    const pid_t pid = fork();
    if (pid == 0) {
        body();
        _exit(0);
    }
    int status = 0;
    const bool has_exited = pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status);
    return has_exited ? WEXITSTATUS(status) : -1;
}
