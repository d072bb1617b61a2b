#include "autoresponder/outgoing/template.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <utility>

namespace {

constexpr std::size_t max_name = 32;

/// How far the name behind an opening delimiter goes: to `close`, to the end, or one too far.
std::size_t name_length(const char* src, char close) {
    std::size_t length = 0;
    while (length <= max_name && src[length] != '\0' && src[length] != close)
        ++length;
    return length;
}

/// The output buffer and how far source and output have got.
class Output {
public:
    Output(char* dst, std::size_t size, repl_ctl* ctl) : dst_(dst), size_(size), ctl_(ctl) {}

    std::size_t room() const { return size_ - ctl_->out_count; }

    /// Copies what fits; false when that was not all.
    bool append(const char* text, std::size_t length) {
        const std::size_t copied = length <= room() ? length : room();
        std::memcpy(dst_ + ctl_->out_count, text, copied);
        ctl_->out_count += static_cast<std::uint32_t>(copied);
        return copied == length;
    }

    /// The same for text of the source.
    bool append_literal(const char* text, std::size_t length) {
        const std::uint32_t before = ctl_->out_count;
        const bool whole = append(text, length);
        ctl_->in_count += ctl_->out_count - before;
        return whole;
    }

    /// There is a byte behind the last counted one, even when the output is full.
    void terminate() { dst_[ctl_->out_count] = '\0'; }

    void account_for_placeholder(std::size_t name_length) {
        ctl_->in_count += static_cast<std::uint32_t>(name_length + 2);
    }

private:
    char* dst_;
    std::size_t size_;
    repl_ctl* ctl_;
};

/// Puts a known placeholder's value in. False ends the substitution.
bool put_value(const char* value, std::size_t name_length, Output& output, repl_ctl* ctl) {
    const std::size_t length = std::strlen(value);
    if (length > output.room() && (ctl->flags & REPL_STOP_ON_OVERFLOW) != 0) {
        ctl->status |= REPL_STOPPED;
        return false;
    }
    output.account_for_placeholder(name_length);
    if (!output.append(value, length))
        return false;
    output.terminate();
    return true;
}

} // namespace

char* templ_replace(char open, char close, const par_templ* params, unsigned long count,
                    const char* src, char* dst, unsigned long dst_size, repl_ctl* ctl) {
    dst[0] = '\0';
    ctl->in_count = ctl->out_count = ctl->status = 0;
    if (src == nullptr || dst_size == 0 || *src == '\0' || count == 0)
        return dst;

    Output output(dst, dst_size, ctl);
    const char* pending = src;
    const char* at = src;
    while ((at = std::strchr(at, open)) != nullptr && *at != '\0') {
        const std::size_t length = name_length(at + 1, close);
        const char* const behind = at + 1 + length;
        if (*behind == '\0')
            break;
        if (length == 0 || length > max_name) {
            at = length == 0 ? behind + 1 : behind;
            continue;
        }
        std::array<char, max_name + 1> name = {};
        std::memcpy(name.data(), at + 1, length);
        const int found = templ_found(name.data(), params, static_cast<int>(count));
        if (found == -1 && (ctl->flags & REPL_KEEP_UNKNOWN) != 0) {
            ctl->status |= REPL_UNKNOWN_KEPT;
            at = behind + 1;
            continue;
        }
        if (!output.append_literal(pending, static_cast<std::size_t>(at - pending)))
            return dst;
        pending = at = behind + 1;
        if (found == -1 || params[found].value == nullptr)
            output.account_for_placeholder(length);
        else if (!put_value(params[found].value, length, output, ctl))
            return dst;
    }
    const std::size_t rest = std::strlen(pending);
    if (output.append_literal(pending, rest) && output.room() > 0)
        output.terminate();
    return dst;
}

int templ_found(const char* name, const par_templ* params, int count) {
    if (count == 0 || params == nullptr || name == nullptr)
        return -1;
    const par_templ* const end = params + count;
    const par_templ* const found =
        std::lower_bound(params, end, name, [](const par_templ& param, const char* wanted) {
            return std::strcmp(param.name, wanted) < 0;
        });
    return found != end && std::strcmp(found->name, name) == 0 ? static_cast<int>(found - params)
                                                               : -1;
}

void templ_quick_sort(par_templ* params, int count) {
    if (count > 0)
        qs(params, 0, count - 1);
}

void qs(par_templ* params, int lo, int hi) {
    for (;;) {
        int i = lo;
        int j = hi;
        const char* const pivot = params[(lo + hi) / 2].name;
        do {
            while (i < hi && std::strcmp(params[i].name, pivot) < 0)
                ++i;
            while (j > lo && std::strcmp(params[j].name, pivot) > 0)
                --j;
            if (i <= j)
                std::swap(params[i++], params[j--]);
        } while (i <= j);
        if (lo < j)
            qs(params, lo, j);
        if (i >= hi)
            return;
        lo = i;
    }
}
