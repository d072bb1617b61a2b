// The process-execution family on real children.
#include "base/owned.h"
#include "lib/autoprepend.h"
#include "lib/product_log.h"
#include "lib/utilities/forkexec.h"
#include "tests/support/output.h"

#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <regex>
#include <sys/mman.h>

#define TEN "a", "a", "a", "a", "a", "a", "a", "a", "a", "a"
#define HUNDRED TEN, TEN, TEN, TEN, TEN, TEN, TEN, TEN, TEN, TEN
#define END static_cast<char*>(nullptr)

namespace {

constexpr char sh[] = "/bin/sh";

/// Arguments of a shell that runs `script`.
struct Script {
    explicit Script(const char* script) : args{"sh", "-c", script, nullptr} {}
    const char* args[4];
};

std::string take(char*& text) {
    const MallocedText owner(std::exchange(text, nullptr));
    return owner ? owner.get() : "(null)";
}

class Processes : public testing::Test {
protected:
    void SetUp() override {
        PROGNAME = "/bin/t";
        errno = 0;
    }
    void TearDown() override {
        PROGNAME = nullptr;
        while (waitpid(-1, nullptr, 0) > 0)
            continue; // those that were only stopped
    }
};

/// What a run of fork_execv_pipes gives: the child's standard output.
std::string child_output(const char* path, const char* const args[], int in = -1) {
    const Descriptor out(memfd_create("out", 0));
    errno = ENOTTY; // the caller's own, whatever happens in the child
    int status = 0;
    waitpid(fork_execv_pipes(in, dup(out.get()), -1, path, args), &status, 0);
    EXPECT_EQ(errno, ENOTTY);
    return content(out) + std::to_string(WEXITSTATUS(status));
}

TEST_F(Processes, CleanChildren) {
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t blocked, now;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR2);
    sigprocmask(SIG_SETMASK, &blocked, nullptr);

    const char* const null_device[] = {"readlink", "/proc/self/fd/0", "/proc/self/fd/2", nullptr};
    EXPECT_EQ(child_output("/bin/readlink", null_device), "/dev/null\n/dev/null\n0");
    EXPECT_EQ(child_output("/bin/cat", Script("").args, 999), "255"); // no such descriptor

    // Here everything is as it was.
    sigprocmask(SIG_SETMASK, nullptr, &now);
    EXPECT_EQ(sigismember(&now, SIGUSR1) + 2 * sigismember(&now, SIGUSR2), 2);
    EXPECT_EQ(std::signal(SIGPIPE, SIG_DFL), SIG_IGN);
}

TEST_F(Processes, Captured) {
    const struct {
        const char *path, *script;
        int result;
        std::string out, err;
    } cases[] = {
        {sh, "exit 3", 3, "", ""},
        {sh, "printf x; kill -9 $$", -1, "x", ""},
        {"/no/such", "", 255, "",
         "fork_execv: execv(\"/no/such\") failed: No such file or directory\n"},
        // The pipes stay open after the child has ended, and one never had anything to read.
        {sh, "sleep 2 & echo out; exit 4", 4, "out\n", "(null)"},
    };
    for (const auto& c : cases) {
        char *out, *err;
        const Script script(c.script);
        EXPECT_EQ(fork_execv_getouterr(&out, &err, c.path, script.args), c.result) << c.script;
        EXPECT_EQ(take(out), c.out) << c.script;
        EXPECT_EQ(take(err), c.err) << c.script;
    }
    char *out, *err;
    const char both[] = "printf %0100000d $# & printf %0100000d $# >&2; wait";
    const std::string hundred = std::string(100000 - 3, '0') + "100"; // arguments without limit
    EXPECT_EQ(fork_execl_getouterr(&out, &err, sh, "x", "-c", both, "zero", HUNDRED, END), 0);
    EXPECT_EQ(take(out) + take(err), hundred + hundred);
    const Output output = written_by(
        [&] { EXPECT_EQ(fork_execl_getout(&out, sh, "x", "-c", both, "zero", HUNDRED, END), 0); });
    EXPECT_EQ(take(out) + output.err, hundred + hundred);
    EXPECT_EQ(fork_execv_getoutput(&out, sh, "-c", "echo $#; echo err >&2", "0", HUNDRED, END), 0);
    EXPECT_EQ(take(out), "100\nerr\n");
    for (const std::size_t size : {0u, 4095u, 4096u, 100000u}) {
        const std::string script = size == 0 ? "" : "printf %0" + std::to_string(size) + "d 0";
        EXPECT_EQ(fork_execvv_getoutput(&out, sh, Script(script.c_str()).args), 0);
        EXPECT_EQ(take(out), std::string(size, '0'));
        EXPECT_EQ(popen_exec_getoutput(&out, (script + "\nkill -9 $$").c_str()), 0);
        EXPECT_EQ(take(out), std::string(size, '0'));
    }
}

// A caller without some of 0, 1 and 2 finds the pipes that it opens at those numbers.
TEST_F(Processes, CallerWithClosedDescriptors) {
    constexpr int file = 30; // open in the caller and in most children
    const Script failing("printf out 2>/dev/null; printf err >&2; exit 3");
    const Script sound("printf out; printf err >&2");
    const struct {
        const char* name;
        std::function<int(char*& out, char*& err)> call;
        std::string result; // and both texts, and what is in the file
    } members[] = {
        {"getouterr",
         [&](char*& out, char*& err) { return fork_execv_getouterr(&out, &err, sh, failing.args); },
         "3 out err "},
        {"getoutput",
         [&](char*& out, char*&) { return fork_execvv_getoutput(&out, sh, sound.args); },
         "0 outerr - "},
        {"fd", [&](char*&, char*&) { return fork_execv_fd(file, file, sh, failing.args); },
         "3 - - out"},
        {"null device",
         [&](char*&, char*&) {
             return fork_execv(sh, "-c", "printf out && printf err >&2 && exit 3", END);
         },
         "3 - - "},
        {"pipes",
         [&](char*&, char*&) {
             const Descriptor in(memfd_create("given", 0));
             EXPECT_EQ(pwrite(in.get(), "given", 5, 0), 5);
             int status = 0;
             fork_execl_pipes(in.get(), dup(file), -1, sh, "name", "-c", "cat; printf $0", END);
             wait(&status);
             return status;
         },
         "0 - - givenname"},
    };
    for (const auto& member : members) {
        std::string whole[3]; // what came on 1 and 2 with nothing closed
        for (int closed = 0; closed < 8; ++closed) {
            const Descriptor streams[] = {Descriptor(memfd_create("in", 0)),
                                          Descriptor(memfd_create("out", 0)),
                                          Descriptor(memfd_create("err", 0))};
            const Descriptor taken(memfd_create("file", 0)), texts(memfd_create("texts", 0));
            exit_status_of([&] {
                dup2(taken.get(), file);
                for (int fd = 0; fd < 3; ++fd) {
                    dup2(streams[fd].get(), fd);
                    if (closed >> fd & 1)
                        close(fd);
                }
                char *out = nullptr, *err = nullptr;
                const int result = member.call(out, err);
                dprintf(texts.get(), "%d %s %s ", result, out ? out : "-", err ? err : "-");
            });
            EXPECT_EQ(content(texts) + content(taken), member.result) << member.name << closed;
            for (int fd = 1; fd < 3; ++fd) {
                const std::string came =
                    std::regex_replace(content(streams[fd]), std::regex("\nSystem error.*"), "");
                if (closed == 0)
                    whole[fd] = came;
                EXPECT_EQ(came, closed >> fd & 1 ? "" : whole[fd]) << member.name << closed;
            }
        }
    }
}

TEST_F(Processes, Logged) {
    const std::string utility =
        std::string(ovkConfGetDefaultByIndex(_PRODUCT_ROOT_D_INDEX)) + "/admin/sbin/no-such";
    const auto absent = [](const std::string& path) {
        return "t: " + path + " execution failed:\nfork_execv: execv(\"" + path +
               "\") failed: No such file or directory\n";
    };
    const std::string refused =
        "t: Utility name 'a/b' is invalid. Use only utility name without path.\n";
    const std::string failed = "t: /bin/sh execution failed:\n";
    const std::string standard = "t: values 0,1,2 not allowed for variables fd_in & fd_out\n";
    const std::string invalid_pointer =
        "t: Error occured during execv():\nBad address, possible reason - NULL parameter is absent "
        "in util_exec(path, arg1, arg2, NULL) call.\n";
    const char* const invalid[] = {"sh", reinterpret_cast<const char*>(1), nullptr};
    const Descriptor input(memfd_create("in", 0)), output_file(memfd_create("out", 0));
    EXPECT_EQ(pwrite(input.get(), "given", 5, 0), 5);
    const auto with_fds = [&](const char* script) {
        return fork_execv_fd(input.get(), output_file.get(), sh, Script(script).args);
    };
    char* text = nullptr;
    const auto together = [&text](const char* script) {
        return fork_execvv_getoutput(&text, sh, Script(script).args);
    };
    const struct {
        std::function<int()> call;
        int result;
        std::string message; // on both streams
        std::string err;     // on standard error alone, before that
    } cases[] = {
        {[] { return fork_execv_log(sh, Script("echo out; echo err >&2").args, 0); }, 0, "", ""},
        {[] { return fork_execv_log(sh, Script("echo out; exit 3").args, 1); }, 3, "", ""},
        {[] { return fork_execv_log(sh, Script("echo out; echo err >&2; exit 3").args, 0); }, 3,
         failed + "err\n", "out\n"},
        {[] { return fork_execl_log(sh, "sh", "-c", "kill -15 $$", END); }, -1, failed, ""},
        {[] { return fork_execv_log(sh, Script("sleep 2 & exit 3").args, 0); }, 3,
         "t: /bin/sh execution failed (no output)\n", ""},
        {[] { return util_exec("a/b", "x", END); }, -1, refused, ""},
        {[] { return util_exec_args("a/b", nullptr); }, -1, refused, ""},
        {[] { return util_exec("no-such", "x", END); }, 255, absent(utility), ""},
        {[] { return util_libexec("no/such", END); }, 255, absent("/usr/lib64/orvek-9.0/no/such"),
         ""},
        {[] { return path_exec(sh, "-c", "echo $0 $#; exit 1", "zero", HUNDRED, END); }, 1, failed,
         "zero 96\n"},
        {[] { return fork_execv(sh, "-c", "exit $#", "zero", HUNDRED, END); }, 96, "", ""},
        {[] { return fork_execv(sh, "-c", "echo out; echo err >&2; kill -9 $$", END); }, 1, "", ""},
        {[] { return fork_execv("/no/such", END); }, 255, "", ""},
        {[] { return do_exec(sh, Script("kill -9 $$").args); }, 9, "", ""},
        {[&] { return fork_execv_getoutput(&text, "/no/such", END); }, 255,
         "t: error:\nCannot exec '/no/such':\nNo such file or directory\n", ""},
        {[&] { return together("echo out; echo err >&2; exit 7"); }, 7,
         "t: utility /bin/sh failed (result=7):\nout\nerr\n", ""},
        {[&] { return together("echo out; kill -9 $$"); }, -1,
         "t: utility /bin/sh killed (signal 9):\nout\n", ""},
        {[&] { return together("exec >&- 2>&-; (sleep 0.3; kill -9 $$) & kill -STOP $$"); }, -1,
         "t: utility /bin/sh crashed (status 4991):\n", ""},
        {[&] { return together("sleep 2 & exit 5"); }, 5, "t: utility /bin/sh failed (result=5):\n",
         ""},
        {[&] { return with_fds("cat; echo one >&2; exit 6"); }, 6, "t: one\n", ""},
        {[&] { return with_fds("kill -9 $$"); }, -1,
         "t: The child process with pid N killed by signal 9\n", ""},
        {[&] { return with_fds("exec 2>&-; (sleep 0.3; kill -9 $$) & kill -STOP $$"); }, -1,
         "t: The child process with pid N stopped by signal 19\n", ""},
        {[&] { return fork_execv_fd(-1, 99, sh, Script("[ -e /proc/$$/fd/0 ] || exit 9").args); },
         9, "", ""},
        {[&] { return fork_execv_fd(2, output_file.get(), sh, invalid); }, -1, standard, ""},
        {[&] { return fork_execv_fd(input.get(), output_file.get(), sh, invalid); }, 255,
         invalid_pointer, ""},
        {[&] { return fork_execv_fd(input.get(), output_file.get(), "/no/such", invalid); }, 255,
         "t: Error occured during execv():\nNo such file or directory.\n", ""},
        {[] { return popen_exec("echo err >&2; echo out; exit 6"); }, 6,
         "t: popen_exec: command failed code: 6 , out\n\n", "err\n"},
        {[] { return popen_exec("exit 6"); }, 6,
         "t: popen_exec: command failed code: 6 , error: none\n", ""},
        {[] { return popen_exec_with_input("cat >&2; exit 4", "given"); }, 4, "", "given"},
        {[] { return popen_exec_with_input("exit 0", std::string(1000000, 'x').c_str()); }, -1,
         "t: Failed to execute command with input: only N of 1000000 bytes were written.\n"
         "System error 32: Broken pipe\n",
         ""},
    };
    for (const auto& c : cases) {
        errno = 0;
        const Output output = written_by([&] { EXPECT_EQ(c.call(), c.result) << c.message; });
        const std::regex varying("(pid|only) [0-9]+");
        EXPECT_EQ(std::regex_replace(output.out, varying, "$1 N"), c.message);
        EXPECT_EQ(std::regex_replace(output.err, varying, "$1 N"), c.err + c.message);
        EXPECT_EQ(take(text), "(null)") << c.message;
    }
    EXPECT_EQ(content(output_file), "given");
}

// A caller that has its children reaped by the kernel cannot know how they ended.
TEST_F(Processes, WithoutStatus) {
    std::signal(SIGCHLD, SIG_IGN);
    char* text;
    const Output output = written_by([&] {
        EXPECT_EQ(fork_execv_getout(&text, sh, Script("echo x").args), -1);
        EXPECT_EQ(take(text), "x\n");
        EXPECT_EQ(fork_execvv_getoutput(&text, sh, Script("").args), -1);
        EXPECT_EQ(fork_execv(sh, "-c", "", END), 1);
        EXPECT_EQ(popen_exec("true"), -1);
    });
    std::signal(SIGCHLD, SIG_DFL);
    EXPECT_EQ(output.err, "t: popen_exec: failed to execute command: No child processes\n\n"
                          "System error 10: No child processes\n");
    EXPECT_EQ(output.out, output.err);
}

} // namespace
