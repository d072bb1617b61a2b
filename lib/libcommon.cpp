#include "lib/libcommon.h"

#include "lib/product_log.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>

void* realloc_safe(void* prev, std::size_t size) {
    void* const block = std::realloc(prev, std::max<std::size_t>(size, 1)); // 0 would free it
    if (block == nullptr)
        end_with_failure("alloc(%d)", static_cast<int>(size));
    return block;
}

char* skip_space(char* text) {
    while (is_space(*text))
        ++text;
    return text;
}

char* orvek_rtrim(char* str) {
    for (std::size_t length = std::strlen(str); length > 0 && is_space(str[length - 1]); --length)
        str[length - 1] = '\0';
    return str;
}

char* orvek_trim(char* str) {
    return skip_space(orvek_rtrim(str));
}
