#include "cell/cell.h"

#include "base/io.h"
#include "base/owned.h"
#include "base/text.h"
#include "cell/confinement.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <optional>
#include <poll.h>
#include <string_view>
#include <sys/mman.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace cell {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t megabyte = 1'000'000;

/// What is larger goes over the pipe without being copied into it.
constexpr std::size_t large = 65536;
constexpr int large_pipe = 1 << 20;

constexpr std::size_t most_texts = 65536;

/// The status of a child that ends for want of memory.
constexpr int no_memory_status = 77;

// An answer: what confine() gave, how many bytes the next come to, the length of each text with the
// text behind it where that is not large; the large ones. Numbers have eight bytes.

void add_number(std::uint64_t number, std::string& bytes) {
    bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
}

/// Takes a number off the front of `bytes`; none where they are too few.
std::optional<std::uint64_t> take_number(std::string_view& bytes) {
    std::uint64_t number;
    if (bytes.copy(reinterpret_cast<char*>(&number), sizeof number) < sizeof number)
        return std::nullopt;
    bytes.remove_prefix(sizeof number);
    return number;
}

/// The pages themselves go into the pipe: whoever calls leaves them as they are. False where that
/// is not to be had.
bool lend_fully(int pipe, std::string_view text) {
    while (!text.empty()) {
        const iovec pages = {const_cast<char*>(text.data()), text.size()};
        const ssize_t count = vmsplice(pipe, &pages, 1, 0);
        if (count > 0)
            text.remove_prefix(static_cast<std::size_t>(count));
        else if (count == 0 || errno != EINTR)
            return write_fully(pipe, text);
    }
    return true;
}

bool tell(int pipe, std::uint64_t holding, const Texts& texts) {
    std::string head, small;
    for (const std::string& text : texts) {
        add_number(text.size(), small);
        if (text.size() < large)
            small += text;
    }
    add_number(holding, head);
    add_number(small.size(), head);
    return write_fully(pipe, head + small) &&
           std::all_of(texts.begin(), texts.end(), [&](const std::string& text) {
               return text.size() < large || lend_fully(pipe, text);
           });
}

/// The child. `pipe` becomes its one descriptor.
[[noreturn]] void live(const Work& work, const Bounds& bounds, int pipe) {
    constexpr int answer = 0;
    std::signal(SIGXCPU, SIG_DFL);
    sigset_t own_limit;
    sigemptyset(&own_limit);
    sigaddset(&own_limit, SIGXCPU);
    sigprocmask(SIG_UNBLOCK, &own_limit, nullptr);
    if (dup2(pipe, answer) == -1)
        _exit(EXIT_FAILURE);
    close_from(answer + 1);
    const unsigned holding = confine(bounds);
    try {
        _exit(tell(answer, holding, work()) ? EXIT_SUCCESS : EXIT_FAILURE);
    } catch (const std::bad_alloc&) {
        _exit(no_memory_status);
    } catch (...) {
        _exit(EXIT_FAILURE);
    }
}

/// The child as long as it lives, and no longer than this.
class Child {
public:
    /// All signals are held back in the child: those for the process are its parent's to hear, and
    /// the parent's handlers are not for it. Where SIGCHLD is ignored nobody could wait.
    Child(const Work& work, const Bounds& bounds, int pipe) {
        struct sigaction heard = {};
        heard.sa_handler = SIG_DFL;
        sigaction(SIGCHLD, &heard, &before_);
        sigset_t all, mask;
        sigfillset(&all);
        sigprocmask(SIG_SETMASK, &all, &mask);
        pid_ = _Fork(); // there are no other threads, whose locks fork() would look after
        if (pid_ == 0)
            live(work, bounds, pipe);
        const int reason = errno;
        sigprocmask(SIG_SETMASK, &mask, nullptr);
        errno = reason;
    }
    Child& operator=(Child&&) = delete; // is neither copied nor moved
    ~Child() {
        const int reason = errno;
        int status;
        if (is_there()) {
            kill(pid_, SIGKILL);
            wait_for(pid_, &status, 0);
        }
        sigaction(SIGCHLD, &before_, nullptr);
        errno = reason;
    }

    bool is_there() const { return pid_ > 0; }

    /// Its status once it has ended by itself; none at the deadline.
    bool wait_until(Clock::time_point deadline, int* status) {
        while (wait_for(pid_, status, WNOHANG) == 0) {
            if (Clock::now() >= deadline)
                return false;
            poll(nullptr, 0, 1);
        }
        pid_ = -1;
        return true;
    }

private:
    pid_t pid_ = -1;
    struct sigaction before_;
};

/// The parent's end of the pipe.
struct Answer {
    int pipe;
    Clock::time_point deadline;

    /// False where the answer ends before `text` has that size, or the time does.
    bool read(std::string& text, std::size_t size) const {
        text.reserve(size);
        for (std::size_t filled = 0; filled < size;) {
            if (filled == text.size()) // a piece is cleared while it is about to be written anyway
                text.resize(std::min(size, filled + large));
            const auto left =
                std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
            pollfd waited = {pipe, POLLIN, 0};
            const int ready = left > 0 ? poll(&waited, 1, static_cast<int>(left)) : 0;
            if (ready == -1 && errno == EINTR)
                continue;
            const ssize_t count =
                ready == 0 ? 0 : read_some(pipe, text.data() + filled, text.size() - filled);
            if (count <= 0)
                return false;
            filled += static_cast<std::size_t>(count);
        }
        return true;
    }
};

Outcome broken(std::string reason) {
    return {End::broken, std::move(reason), {}};
}

/// None where the answer is cut off. It may have `most` bytes.
std::optional<Outcome> read_answer(const Answer& answer, std::size_t most) {
    const Outcome wrong = broken("an answer out of form");
    std::string head, small;
    if (!answer.read(head, 2 * sizeof(std::uint64_t)))
        return std::nullopt;
    std::string_view numbers = head;
    Outcome outcome = {End::answered, {}, {}, *take_number(numbers)};
    const std::uint64_t size = *take_number(numbers);
    if (size > most)
        return wrong;
    if (!answer.read(small, size))
        return std::nullopt;
    std::size_t left = most;
    for (std::string_view rest = small; !rest.empty();) {
        const std::optional<std::uint64_t> number = take_number(rest);
        const std::uint64_t length = number.value_or(0);
        if (!number || length > left || (length < large && length > rest.size()) ||
            outcome.texts.size() == most_texts)
            return wrong;
        left -= length;
        std::string& text = outcome.texts.emplace_back();
        if (length < large) {
            text = rest.substr(0, length);
            rest.remove_prefix(length);
        } else if (!answer.read(text, length)) {
            return std::nullopt;
        }
    }
    return outcome;
}

/// Whether the cell's bound was what it ran into, since there is more to be had.
bool is_to_be_had(std::size_t memory) {
    void* const trial =
        mmap(nullptr, memory, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (trial == MAP_FAILED)
        return false;
    munmap(trial, memory);
    return true;
}

/// What a child has come to that has not answered.
Outcome end_of(int status, std::size_t memory) {
    if (WIFSIGNALED(status) && WTERMSIG(status) != SIGKILL) {
        const char* const name = sigdescr_np(WTERMSIG(status));
        return broken(name != nullptr ? name
                                      : concat({"signal ", std::to_string(WTERMSIG(status))}));
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) != no_memory_status)
        return broken("no answer");
    if (WIFSIGNALED(status) || !is_to_be_had(memory))
        return {End::no_memory, {}, {}};
    return broken(concat({"more than ", std::to_string(memory / megabyte), " MB of memory"}));
}

} // namespace

Limits limits_for(std::size_t size) {
    return {64 * megabyte + 16 * size, std::chrono::seconds(20 + size / megabyte)};
}

Outcome run(Work work, const Limits& limits) {
    const Outcome not_made = {End::not_made, {}, {}};
    Pipe pipe = open_pipe();
    if (!pipe)
        return not_made;
    if (limits.memory >= limits_for(large).memory)
        fcntl(pipe.read_end.get(), F_SETPIPE_SZ, large_pipe);
    const Clock::time_point deadline = Clock::now() + limits.time;
    Child child(work, {limits.memory, static_cast<unsigned>(limits.time.count()), getpid()},
                pipe.write_end.get());
    if (!child.is_there())
        return not_made;
    pipe.write_end.reset();
    work = nullptr;

    if (std::optional<Outcome> told = read_answer({pipe.read_end.get(), deadline}, limits.memory))
        return *std::move(told);
    int status = 0;
    if (!child.wait_until(deadline, &status))
        return broken(concat({"no answer in ", std::to_string(limits.time.count()), " seconds"}));
    return end_of(status, limits.memory);
}

std::vector<Confinement> confinements() {
    std::vector<Confinement> found;
    const Outcome outcome = run([] { return Texts(); }, limits_for(0));
    for (std::size_t i = 0; outcome.end == End::answered && i < step_count; ++i)
        found.push_back({steps[i].name, (outcome.holding >> i & 1) != 0});
    return found;
}

} // namespace cell
