#include "lib/utilities/libcommon.h"

#include "base/owned.h"
#include "lib/product_log.h"
#include "lib/utilities/strlcpy.h"

#include <cctype>
#include <cerrno>
#include <cstring>
#include <string_view>

void* malloc_safe(std::size_t size) {
    return realloc_safe(nullptr, size);
}

char* strn_replace(const char* src, char* dst, const char* from, const char* to, unsigned n) {
    if (dst == nullptr || n == 0)
        return dst;
    if (from == nullptr || *from == '\0')
        return std::strncpy(dst, src, n);
    const MallocedText work(static_cast<char*>(std::malloc(n)));
    if (!work) {
        messlog2(0, 0, "strn_replace(): %s\n", std::strerror(errno));
        strlcpy(dst, src, n);
        return dst;
    }
    // The total runs on past the bound, so that once one piece does not fit, no later one does.
    std::size_t total = 0, used = 0;
    const auto append = [&](std::string_view piece) {
        total += piece.size();
        if (total < n)
            used += piece.copy(work.get() + used, piece.size());
        return total < n;
    };
    std::string_view rest = src;
    for (std::size_t match; (match = rest.find(from)) != std::string_view::npos;) {
        const bool fits = append(rest.substr(0, match)) && append(to);
        rest.remove_prefix(match + std::strlen(from));
        if (!fits)
            break;
    }
    append(rest);
    work.get()[used] = '\0';
    strlcpy(dst, work.get(), n);
    return dst;
}

void strtolower(char* text) {
    if (text == nullptr)
        return;
    for (; *text != '\0'; ++text)
        *text = static_cast<char>(std::tolower(static_cast<unsigned char>(*text)));
}

char* strtolower_dynamic(const char* text) {
    if (text == nullptr)
        return nullptr;
    char* const copy = strdup(text);
    if (copy == nullptr)
        messlog2(0, 0, "System error: %s\n", std::strerror(errno));
    strtolower(copy);
    return copy;
}

char* orvek_chch(char* src, char* dst, char from, char to) {
    char* const result = dst == nullptr ? src : dst;
    for (char* out = result;; ++src, ++out) {
        *out = *src == from ? to : *src;
        if (*out == '\0')
            return result;
    }
}

void check_parameter(int checkParameter, const char* Parameter, const char* DisplayName) {
    if (checkParameter != 0 && (Parameter == nullptr || *Parameter == '\0'))
        end_with_failure("Missing parameter '%s' or previous parameter is empty.\n", DisplayName);
}

void check_unprocessed_parameters(int argc, int next, char**) {
    if (argc != next)
        end_with_failure("Some parameters in command string are left unprocessed. Check parameters "
                         "please.");
}
