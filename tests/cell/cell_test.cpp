// What a broken reader would try, in a cell, where it has to fail, and without one, where it has to
// succeed: else nothing would be known of the cell. As whoever runs the tests and, where that is
// root, as an ordinary user as well.
#include "cell/cell.h"

#include "base/io.h"
#include "base/owned.h"
#include "base/text.h"
#include "tests/support/output.h"

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <linux/filter.h>
#include <linux/futex.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <vector>

namespace {

using namespace std::chrono_literals;

#ifdef OVK_SANITIZED
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

constexpr cell::Limits short_limits = {64'000'000, 1s};
constexpr char filtered[] = "Bad system call";

pid_t parent; // of a cell
const char secret[] = "the parent's";
std::filesystem::path folder; // of whoever tries

bool can_read(const std::filesystem::path& path) {
    const Descriptor file(open(path.c_str(), O_RDONLY));
    char byte;
    return file && read_some(file.get(), &byte, 1) == 1;
}

bool can_write(const char* name, int flags) {
    const Descriptor file(open((folder / name).c_str(), O_WRONLY | flags, 0600));
    return file && write_fully(file.get(), "x");
}

bool can_read_memory() {
    const Descriptor memory(open(("/proc/" + std::to_string(parent) + "/mem").c_str(), O_RDONLY));
    char read[sizeof secret] = "";
    return pread(memory.get(), read, sizeof read, reinterpret_cast<off_t>(&secret)) ==
               sizeof read &&
           std::strcmp(read, secret) == 0;
}

bool can_fork() {
    return exit_status_of([] {}) == 0;
}

bool can_execute() {
    execl("/bin/true", "true", nullptr);
    return false;
}

/// Three times what a cell of short_limits may take.
bool can_take_memory() {
    const std::size_t size = 3 * short_limits.memory;
    std::string taken(size, 'x');
    return taken[size / 2] == 'x';
}

bool can_take_time() {
    const auto end = std::chrono::steady_clock::now() + short_limits.time + 500ms;
    while (std::chrono::steady_clock::now() < end) {
    }
    return true;
}

bool can_sleep() {
    static int never = 0;
    const timespec time = {short_limits.time.count(), 500'000'000};
    return syscall(SYS_futex, &never, FUTEX_WAIT, 0, &time, nullptr, 0) == -1;
}

cell::Texts sleep_in_cell() {
    can_sleep();
    return {};
}

/// The cell of that process, once it has one. Not the one that asks.
pid_t another_child_of(pid_t process) {
    const std::string id = std::to_string(process);
    for (;; usleep(1000)) {
        std::ifstream children(concat({"/proc/", id, "/task/", id, "/children"}));
        for (pid_t child; children >> child;) {
            if (child != getpid())
                return child;
        }
    }
}

struct Attempt {
    const char* name;
    bool (*succeeds)();
    /// How the cell ends; null where it goes on and the attempt has failed.
    const char* end = nullptr;
};

const Attempt attempts[] = {
    {"the password file", [] { return can_read(folder / "password"); }},
    {"an attachment", [] { return can_read(folder / "attachment"); }},
    {"/etc/passwd", [] { return can_read("/etc/passwd"); }},
    {"the environment", [] { return can_read("/proc/self/environ"); }},
    {"the parent's memory", can_read_memory},
    {"a process's memory",
     [] {
         char read[sizeof secret];
         const iovec here = {read, sizeof read}, there = {const_cast<char*>(secret), sizeof read};
         return process_vm_readv(parent, &here, 1, &there, 1, 0) == sizeof read;
     },
     filtered},
    {"a new file", [] { return can_write("new", O_CREAT); }, filtered},
    {"a file that is there", [] { return can_write("attachment", 0); }, filtered},
    {"removing", [] { return unlink((folder / "new").c_str()) == 0; }, filtered},
    {"the database's socket, or any",
     [] { return bool(Descriptor(socket(AF_UNIX, SOCK_STREAM, 0))); }, filtered},
    {"fork", can_fork, filtered},
    {"exec", can_execute, filtered},
    {"ptrace", [] { return ptrace(PTRACE_SEIZE, parent, nullptr, nullptr) == 0; }, filtered},
    {"kill", [] { return kill(parent, 0) == 0; }, filtered},
    {"memory", can_take_memory, "more than 64 MB of memory"},
    {"time", can_take_time, "CPU time limit exceeded"},
    {"sleep", can_sleep, "no answer in 1 seconds"},
};

/// How the attempt ends in a cell; empty where it has failed and the cell goes on.
std::string end_in_cell(const Attempt& attempt) {
    const cell::Outcome outcome = cell::run(
        [&]() -> cell::Texts { return {attempt.succeeds() ? "it succeeds" : ""}; }, short_limits);
    return outcome.end == cell::End::answered ? outcome.texts.at(0)
           : outcome.end == cell::End::broken ? outcome.reason
                                              : "not broken";
}

/// What is not as it should be, a line for each.
std::string try_all() {
    std::string faults;
    for (const Attempt& attempt : attempts) {
        if (sanitized && attempt.succeeds == can_take_memory)
            continue;
        if (exit_status_of([&] { _exit(attempt.succeeds() ? 0 : 1); }) != 0)
            faults += std::string(attempt.name) + " fails without a cell\n";
        const std::string end = end_in_cell(attempt);
        // Of two clocks that run out at the same time, either may be the first.
        const bool is_time = attempt.succeeds == can_take_time && end == "no answer in 1 seconds";
        if (end != (attempt.end == nullptr ? "" : attempt.end) && !is_time)
            faults += std::string(attempt.name) + " in the cell: " + end + "\n";
    }
    return faults;
}

/// `tell`'s text, from a process of its own that is `user`.
std::string as_user(uid_t user, const std::function<std::string()>& tell) {
    std::string name = std::filesystem::temp_directory_path() / "ovk-cell-XXXXXX";
    folder = mkdtemp(name.data());
    [[maybe_unused]] const int handed_over = chown(folder.c_str(), user, user);
    const Descriptor told(memfd_create("told", 0));
    const int status = exit_status_of([&] {
        parent = getpid();
        if (user != geteuid() && (setgid(user) != 0 || setuid(user) != 0))
            _exit(1);
        prctl(PR_SET_DUMPABLE, 1);
        prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY);
        write_fully(told.get(), tell());
    });
    std::filesystem::remove_all(folder);
    return content(told) + (status == 0 ? "" : "and an end with status " + std::to_string(status));
}

/// As whoever runs the tests, and as an ordinary user.
void expect_told(const std::string& expected, const std::function<std::string()>& tell,
                 const std::string& what = "") {
    constexpr uid_t ordinary = 12345;
    EXPECT_EQ(as_user(geteuid(), tell), expected) << what;
    if (geteuid() == 0) {
        EXPECT_EQ(as_user(ordinary, tell), expected) << what << ", as an ordinary user";
    }
}

TEST(Cell, NobodyGetsOut) {
    expect_told("", [] {
        for (const char* const name : {"password", "attachment"})
            std::ofstream(folder / name) << "secret\n";
        std::filesystem::permissions(folder / "password", std::filesystem::perms::owner_read);
        return try_all();
    });
}

/// Has a call fail from now on, as a kernel that lacks it or a container's own filter would.
void deny(std::uint32_t call) {
    const sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter = {std::size(program), const_cast<sock_filter*>(program)};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &filter);
}

TEST(Cell, WhatTheHostLacksIsLeftOutAndTheRestHolds) {
    const struct {
        std::uint32_t call;
        std::size_t step;
        bool (*attempt)();
    } lacks[] = {
        {0xffff, 99, [] { return can_read("/etc/passwd"); }},
        {SYS_seccomp, 5, [] { return can_read("/etc/passwd"); }},
        {SYS_seccomp, 5, [] { return can_fork(); }},
        {SYS_landlock_restrict_self, 2, [] { return can_read("/proc/self/environ"); }},
        {SYS_setresuid, 3, [] { return can_read("/etc/passwd"); }},
    };
    for (const auto& lack : lacks) {
        const auto tell = [&lack]() -> std::string {
            if (lack.call == SYS_setresuid && geteuid() != 0)
                return "";
            deny(lack.call);
            const auto found = cell::confinements();
            std::string faults = found.empty() ? "none" : end_in_cell({"", lack.attempt});
            for (std::size_t i = 0; i < found.size(); ++i) {
                if (found[i].holds == (i == lack.step))
                    faults += found[i].name;
            }
            return faults;
        };
        expect_told("", tell, "call " + std::to_string(lack.call));
    }
}

/// A cell that answers with these numbers.
cell::Work answer(const std::vector<std::uint64_t>& head) {
    return [head]() -> cell::Texts {
        write_fully(0, {reinterpret_cast<const char*>(head.data()), head.size() * sizeof head[0]});
        _exit(0);
    };
}

TEST(Cell, SaysHowItHasFailed) {
    std::vector<std::uint64_t> many_texts(2 + 65537);
    many_texts[1] = sizeof many_texts[0] * 65537;
    const struct {
        cell::Work work;
        const char* reason;
    } failures[] = {
        {[]() -> cell::Texts { _exit(0); }, "no answer"},
        {[]() -> cell::Texts { std::exit(0); }, sanitized ? "" : "no answer"},
        {[]() -> cell::Texts { throw 1; }, "no answer"},
        {[]() -> cell::Texts { throw std::bad_alloc(); }, "more than 64 MB of memory"},
        {[]() -> cell::Texts { std::abort(); }, sanitized ? "" : filtered},
        {answer(std::vector<std::uint64_t>(125, 0x7878787878787878)), "an answer out of form"},
        {answer({0, 8, short_limits.memory + 1}), "an answer out of form"},
        {answer({0, 8, 5}), "an answer out of form"},
        {answer({0, 12, 0, 0}), "an answer out of form"},
        {answer(many_texts), "an answer out of form"},
        {answer({0, 8, 70'000}), "no answer"},
        {[]() -> cell::Texts {
             close(0);
             can_sleep();
             return {};
         },
         "no answer in 1 seconds"},
    };
    for (const auto& [work, reason] : failures) {
        const cell::Outcome outcome = cell::run(work, short_limits);
        EXPECT_EQ(outcome.end, cell::End::broken) << reason;
        if (*reason != '\0') {
            EXPECT_EQ(outcome.reason, reason);
        }
        EXPECT_TRUE(outcome.texts.empty());
    }
}

TEST(Cell, WantOfMemoryAndOfProcessesAreNoFaultOfTheWork) {
    const auto end_with = [](auto resource, rlim_t most, const cell::Work& work) {
        return as_user(geteuid() == 0 ? 12345 : geteuid(), [&] {
            const rlimit limit = {most, most};
            setrlimit(resource, &limit);
            return std::to_string(static_cast<int>(cell::run(work, short_limits).end));
        });
    };
    const auto text = [](cell::End end) { return std::to_string(static_cast<int>(end)); };
    const cell::Work wanting = []() -> cell::Texts { throw std::bad_alloc(); };
    if (!sanitized) {
        EXPECT_EQ(end_with(RLIMIT_AS, 60'000'000, wanting), text(cell::End::no_memory));
    }
    EXPECT_EQ(end_with(RLIMIT_NPROC, 0, wanting), text(cell::End::not_made));
    EXPECT_EQ(end_with(RLIMIT_NOFILE, 4, wanting), text(cell::End::not_made));
    // As the kernel does where the machine has no memory left.
    const pid_t killer = fork();
    if (killer == 0) {
        kill(another_child_of(getppid()), SIGKILL);
        _exit(0);
    }
    EXPECT_EQ(cell::run(sleep_in_cell, short_limits).end, cell::End::no_memory);
    waitpid(killer, nullptr, 0);
}

TEST(Cell, AnswersWholeTextsOfAnySize) {
    for (const std::size_t size : {0u, 1u, 4095u, 4096u, 65535u, 65536u, 10'000'000u}) {
        const cell::Texts texts = {"", std::string(size, 'a'), "b", std::string(3 * size, 'c')};
        const cell::Outcome outcome = cell::run([&] { return texts; }, cell::limits_for(size));
        EXPECT_EQ(outcome.end, cell::End::answered) << size << outcome.reason;
        EXPECT_TRUE(outcome.texts == texts) << size;
    }
}

TEST(Cell, EndsWithItsParentAndHearsNoSignalOfTheProcess) {
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const pid_t process = fork();
    if (process == 0) {
        setpgid(0, 0);
        std::signal(SIGTERM, SIG_IGN);
        cell::run(
            []() -> cell::Texts {
                for (;;)
                    can_sleep();
            },
            cell::limits_for(0));
        _exit(0);
    }
    const pid_t child = another_child_of(process);
    usleep(100'000); // until it is in its cell
    kill(-process, SIGTERM);
    int status = 0;
    EXPECT_EQ(waitpid(process, &status, WNOHANG), 0);
    usleep(100'000);
    EXPECT_EQ(waitpid(process, &status, WNOHANG), 0);
    kill(process, SIGKILL);
    EXPECT_EQ(waitpid(process, &status, 0), process);
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
}

} // namespace
