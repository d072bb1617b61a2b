#include "autoresponder/outgoing/template.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <utility>

namespace {

constexpr std::size_t max_name = 32;

/// A placeholder's name, or why there is none.
struct Name {
    enum class Kind { name, empty, too_long, unfinished } kind;
    std::array<char, max_name + 1> text;
    std::size_t length;
};

/// Reads the name behind an opening delimiter.
Name read_name(const char* src, char close) {
    Name name = {Name::Kind::name, {}, 0};
    for (; src[name.length] != '\0' && src[name.length] != close; ++name.length) {
        if (name.length == max_name) {
            name.kind = Name::Kind::too_long;
            ++name.length;
            return name;
        }
        name.text[name.length] = src[name.length];
    }
    if (src[name.length] == '\0')
        name.kind = Name::Kind::unfinished;
    else if (name.length == 0)
        name.kind = Name::Kind::empty;
    return name;
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

    void account_for(const Name& name) {
        ctl_->in_count += static_cast<std::uint32_t>(name.length + 2);
    }

private:
    char* dst_;
    std::size_t size_;
    repl_ctl* ctl_;
};

/// Puts a known placeholder's value in. False ends the substitution.
bool put_value(const char* value, const Name& name, Output& output, repl_ctl* ctl) {
    const std::size_t length = std::strlen(value);
    if (length > output.room() && (ctl->flags & REPL_STOP_ON_OVERFLOW) != 0) {
        ctl->status |= REPL_STOPPED;
        return false;
    }
    output.account_for(name);
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
        const Name name = read_name(at + 1, close);
        if (name.kind == Name::Kind::unfinished)
            break;
        const char* const behind = at + 1 + name.length;
        if (name.kind != Name::Kind::name) {
            at = name.kind == Name::Kind::empty ? behind + 1 : behind;
            continue;
        }
        const int found = templ_found(name.text.data(), params, static_cast<int>(count));
        if (found == -1 && (ctl->flags & REPL_KEEP_UNKNOWN) != 0) {
            ctl->status |= REPL_UNKNOWN_KEPT;
            at = behind + 1;
            continue;
        }
        if (!output.append_literal(pending, static_cast<std::size_t>(at - pending)))
            return dst;
        pending = at = behind + 1;
        if (found == -1 || params[found].value == nullptr)
            output.account_for(name);
        else if (!put_value(params[found].value, name, output, ctl))
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
    int lo = 0;
    int hi = count - 1;
    while (lo < hi) {
        const int mid = lo + (hi - lo) / 2;
        const int order = std::strcmp(name, params[mid].name);
        if (order == 0)
            return mid;
        if (mid == (order > 0 ? hi : lo))
            return -1;
        if (order > 0)
            lo = mid + 1;
        else
            hi = mid - 1;
    }
    return std::strcmp(name, params[lo].name) == 0 ? lo : -1;
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
