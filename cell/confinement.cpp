#include "cell/confinement.h"

#include "base/owned.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <grp.h>
#include <iterator>
#include <linux/audit.h>
#include <linux/capability.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <malloc.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace cell {

namespace {

#ifdef OVK_SANITIZED
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

bool lower(decltype(RLIMIT_CORE) resource, rlim_t soft, rlim_t hard) {
    rlimit limit;
    if (getrlimit(resource, &limit) == -1)
        return false;
    limit.rlim_cur = std::min(limit.rlim_cur, soft);
    limit.rlim_max = std::min(limit.rlim_max, hard);
    return setrlimit(resource, &limit) == 0;
}

/// Beyond what the heap has, and room for program and libraries. AddressSanitizer takes terabytes.
bool limit_memory(std::size_t most) {
    constexpr std::size_t libraries = 64'000'000;
    const struct mallinfo2 heap = mallinfo2();
    const rlim_t all = libraries + heap.arena + heap.hblkhd + most;
    return sanitized || lower(RLIMIT_AS, all, all);
}

bool limit_all(const Bounds& bounds) {
    constexpr rlim_t files = 16; // a converter and those that it needs
    const bool memory = limit_memory(bounds.memory);
    // The soft limit ends it by a signal of its own, the hard one by SIGKILL, as want of memory.
    const bool time = lower(RLIMIT_CPU, bounds.seconds, bounds.seconds + 1);
    const bool others = lower(RLIMIT_FSIZE, 0, 0) && lower(RLIMIT_CORE, 0, 0) &&
                        lower(RLIMIT_NPROC, 0, 0) && lower(RLIMIT_NOFILE, files, files);
    return memory && time && others;
}

bool gain_nothing(const Bounds&) {
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0;
}

// Landlock as the kernel numbers it: headers of Debian 12 know less than its kernel may.
#ifndef SYS_landlock_create_ruleset
#define SYS_landlock_create_ruleset 444
#define SYS_landlock_add_rule 445
#define SYS_landlock_restrict_self 446
#endif

struct Ruleset {
    std::uint64_t files, network, scope;
};

struct [[gnu::packed]] PathBeneath {
    std::uint64_t allowed;
    std::int32_t folder;
};

constexpr std::uint64_t may_read = 1 << 2, may_list = 1 << 3;

/// Everything that the version knows.
Ruleset all_of(long version) {
    const int file_rights = version >= 5 ? 16 : version >= 3 ? 15 : version == 2 ? 14 : 13;
    return {(std::uint64_t{1} << file_rights) - 1, version >= 4 ? 3u : 0u, version >= 6 ? 3u : 0u};
}

/// In one of them the C library has its converters.
constexpr const char* library_folders[] = {"/usr/lib", "/usr/lib64"};

bool open_libraries_alone(const Bounds&) {
    constexpr unsigned ask_version = 1;
    const long version = syscall(SYS_landlock_create_ruleset, nullptr, 0, ask_version);
    if (version < 1)
        return false;
    const Ruleset all = all_of(version); // nothing but zeros where an older kernel knows less
    const Descriptor rules(
        static_cast<int>(syscall(SYS_landlock_create_ruleset, &all, sizeof all, 0)));
    bool found = false; // stays so without rules
    for (const char* const name : library_folders) {
        // Where it is a link, it leads to the other.
        const Descriptor folder(open(name, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        constexpr unsigned path_beneath = 1;
        const PathBeneath rule = {may_read | may_list, folder.get()};
        found |= folder && syscall(SYS_landlock_add_rule, rules.get(), path_beneath, &rule, 0) == 0;
    }
    // Where the libraries lie elsewhere, no charset could be converted.
    return found && syscall(SYS_landlock_restrict_self, rules.get(), 0) == 0;
}

/// The user and the group that own nothing.
bool become_nobody(const Bounds&) {
    constexpr uid_t nobody = 65534;
    if (geteuid() == 0) {
        setgroups(0, nullptr);
        [[maybe_unused]] const int group = setresgid(nobody, nobody, nobody);
        [[maybe_unused]] const int user = setresuid(nobody, nobody, nobody);
    }
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    return syscall(SYS_capset, &header, none) == 0 && geteuid() != 0 && getegid() != 0;
}

/// After the change of user, which undoes it.
bool die_with_parent(const Bounds& bounds) {
    const bool hidden = prctl(PR_SET_DUMPABLE, 0, 0, 0, 0) == 0;
    const bool bound = prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0) == 0;
    if (getppid() != bounds.parent)
        _exit(EXIT_FAILURE);
    return hidden && bound;
}

#if defined(__x86_64__)
constexpr std::uint32_t architecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr std::uint32_t architecture = AUDIT_ARCH_AARCH64;
#endif

#if defined(__x86_64__) || defined(__aarch64__)

/// What reading and converting call; `openat` beside these, for reading.
constexpr std::uint32_t allowed_calls[] = {
    SYS_mmap,           SYS_munmap,      SYS_brk,      SYS_read,        SYS_write,
    SYS_vmsplice,       SYS_mremap,      SYS_mprotect, SYS_madvise,     SYS_close,
    SYS_fstat,          SYS_newfstatat,  SYS_lseek,    SYS_getdents64,  SYS_pread64,
    SYS_futex,          SYS_getrandom,
#ifdef OVK_SANITIZED // what the sanitizers call beside these
    SYS_pipe2,          SYS_gettid,      SYS_getpid,   SYS_sched_yield, SYS_rt_sigaction,
    SYS_rt_sigprocmask, SYS_sigaltstack,
#endif
    SYS_exit_group};

/// The lower half, as these machines are little-endian.
constexpr std::uint32_t word_of_flags = offsetof(seccomp_data, args) + 2 * sizeof(std::uint64_t);

constexpr auto filter = [] {
    constexpr auto skip = [](int test, std::uint32_t value, std::size_t if_so, std::size_t if_not) {
        return sock_filter{static_cast<std::uint16_t>(BPF_JMP | BPF_K | test),
                           static_cast<std::uint8_t>(if_so), static_cast<std::uint8_t>(if_not),
                           value};
    };
    constexpr std::size_t calls = std::size(allowed_calls);
    std::array<sock_filter, calls + 9> program = {{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
        skip(BPF_JEQ, architecture, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        skip(BPF_JEQ, SYS_openat, 0, 2),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, word_of_flags),
        skip(BPF_JSET, O_ACCMODE | O_CREAT | O_TRUNC, calls, calls + 1),
    }};
    for (std::size_t i = 0; i < calls; ++i)
        program[7 + i] = skip(BPF_JEQ, allowed_calls[i], calls - i, 0);
    program[7 + calls] = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS);
    program[8 + calls] = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    return program;
}();

bool call_little(const Bounds&) {
    const sock_fprog program = {filter.size(), const_cast<sock_filter*>(filter.data())};
    return syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &program) == 0;
}

#else

bool call_little(const Bounds&) {
    return false;
}

#endif

} // namespace

const Step steps[step_count] = {
    {"limits of memory, time, files and processes", limit_all},
    {"no way to gain rights (no_new_privs)", gain_nothing},
    {"only libraries can be opened (Landlock)", open_libraries_alone},
    {"a user that owns nothing, no capabilities", become_nobody},
    {"hidden from others, ends with the program", die_with_parent},
    {"only calls that reading needs (seccomp)", call_little},
};

unsigned confine(const Bounds& bounds) {
    unsigned holding = 0;
    for (std::size_t i = 0; i < step_count; ++i)
        holding |= static_cast<unsigned>(steps[i].take(bounds)) << i;
    return holding;
}

} // namespace cell
