#include "autoresponder/outgoing/template.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <utility>

namespace {

constexpr std::size_t max_name = 32;

bool is_before(const par_templ& left, const par_templ& right) {
    return std::strcmp(left.name, right.name) < 0;
}

/// Takes the text up to the next placeholder, and that, off the front of `rest`. False when there
/// is none.
bool take_placeholder(std::string_view& rest, char open, char close,
                      std::string_view& placeholder) {
    std::size_t at = 0;
    while ((at = rest.find(open, at)) != std::string_view::npos) {
        const std::string_view behind = rest.substr(at + 1, max_name + 1);
        const std::size_t length = behind.find(close);
        if (length != std::string_view::npos && length > 0) {
            placeholder = rest.substr(at, length + 2);
            rest.remove_prefix(at + length + 2);
            return true;
        }
        if (length == std::string_view::npos && behind.size() <= max_name)
            return false;
        at += length == 0 ? 2 : 1 + behind.size();
    }
    return false;
}

struct Output {
    char* dst;
    std::size_t size;
    repl_ctl& ctl;

    /// Copies what fits; how much that is.
    std::uint32_t put(std::string_view text) {
        const std::size_t copied = text.copy(dst + ctl.out_count, size - ctl.out_count);
        ctl.out_count += static_cast<std::uint32_t>(copied);
        return static_cast<std::uint32_t>(copied);
    }

    /// The same for text of the source; whether that was all.
    bool put_literal(std::string_view text) {
        const std::uint32_t copied = put(text);
        ctl.in_count += copied;
        return copied == text.size();
    }
};

} // namespace

char* templ_replace(char open, char close, const par_templ* params, unsigned long count,
                    const char* src, char* dst, unsigned long dst_size, repl_ctl* ctl) {
    dst[0] = '\0';
    ctl->in_count = ctl->out_count = ctl->status = 0;
    if (src == nullptr || dst_size == 0 || *src == '\0' || count == 0)
        return dst;

    Output output = {dst, dst_size, *ctl};
    std::string_view rest = src;
    const char* pending = src;
    for (std::string_view placeholder; take_placeholder(rest, open, close, placeholder);) {
        std::array<char, max_name + 1> name = {};
        placeholder.copy(name.data(), placeholder.size() - 2, 1);
        const int found = templ_found(name.data(), params, static_cast<int>(count));
        if (found == -1 && (ctl->flags & REPL_KEEP_UNKNOWN) != 0) {
            ctl->status |= REPL_UNKNOWN_KEPT;
            continue;
        }
        if (!output.put_literal({pending, placeholder.data()}))
            return dst;
        pending = rest.data();
        const char* const given = found == -1 ? nullptr : params[found].value;
        const std::string_view value = given == nullptr ? "" : given;
        const bool fits = value.size() <= dst_size - ctl->out_count;
        if (!fits && (ctl->flags & REPL_STOP_ON_OVERFLOW) != 0) {
            ctl->status |= REPL_STOPPED;
            return dst;
        }
        ctl->in_count += static_cast<std::uint32_t>(placeholder.size());
        output.put(value);
        if (!fits)
            return dst;
        dst[ctl->out_count] = '\0';
    }
    if (output.put_literal(pending) && ctl->out_count < dst_size)
        dst[ctl->out_count] = '\0';
    return dst;
}

int templ_found(const char* name, const par_templ* params, int count) {
    if (count == 0 || params == nullptr || name == nullptr)
        return -1;
    const par_templ wanted = {name, nullptr};
    const auto* const found = std::lower_bound(params, params + count, wanted, is_before);
    const bool is_there = found != params + count && std::strcmp(found->name, name) == 0;
    return is_there ? static_cast<int>(found - params) : -1;
}

void templ_quick_sort(par_templ* params, int count) {
    if (count > 0)
        qs(params, 0, count - 1);
}

void qs(par_templ* params, int lo, int hi) {
    for (;;) {
        int i = lo;
        int j = hi;
        const par_templ pivot = params[(lo + hi) / 2];
        do {
            while (i < hi && is_before(params[i], pivot))
                ++i;
            while (j > lo && is_before(pivot, params[j]))
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
