#include "lib/read_configuration.h"

#include "base/owned.h"
#include "lib/libcommon.h"
#include "lib/liblog.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <search.h>
#include <sys/types.h>
#include <syslog.h>
#include <utility>

namespace {

constexpr std::size_t alloc_step = 20;
constexpr int level = LOG_USER | LOG_WARNING;

int out_of_memory(const char* to_do) {
    orvek_log(level, "Unable to %s configuration: %s", to_do, std::strerror(ENOMEM));
    errno = ENOMEM;
    return -1;
}

/// Ends the value that `value` begins with at its comment or at the end of the line, without the
/// white space before that.
void cut_value(char* value) {
    if (char* const comment = std::strchr(value + 1, '#'))
        *comment = '\0';
    orvek_rtrim(value);
}

/// Stores the variable that `line` defines, if it does. -1 only when storing fails.
int read_line(char* line, conf_data* pconf) {
    char* const name = skip_space(line);
    if (*name == '\0' || *name == '#')
        return 0;
    char* name_end = name;
    while (std::isalnum(static_cast<unsigned char>(*name_end)) != 0 || *name_end == '_')
        ++name_end;
    if (!is_space(*name_end)) {
        orvek_log(level, "Invalid variable definition %s\nExpected a space after variable name\n",
                  name);
        return 0;
    }
    char* const value = skip_space(name_end + 1);
    if (*value == '\0' || *value == '#') {
        orvek_log(level, "Invalid variable definition %s\nExpected a value", name);
        return 0;
    }
    *name_end = '\0';
    cut_value(value);
    return conf_set_r(name, value, pconf);
}

} // namespace

int conf_init_r(conf_data* pconf) {
    if (pconf->data == nullptr) {
        auto* const entries = static_cast<conf_entry*>(std::calloc(alloc_step, sizeof(conf_entry)));
        *pconf = {entries, entries == nullptr ? 0 : alloc_step, 0, 1};
        return entries == nullptr ? -1 : 0;
    }
    if (pconf->nmemb < pconf->size)
        return 0;
    void* const grown = reallocarray(pconf->data, pconf->size, 2 * sizeof(conf_entry));
    if (grown == nullptr)
        return out_of_memory("read");
    pconf->data = static_cast<conf_entry*>(grown);
    pconf->size *= 2;
    return 0;
}

int conf_set_r(const char* name, const char* value, conf_data* pconf) {
    if (conf_init_r(pconf) == -1)
        return -1;
    MallocedText key(strdup(name));
    MallocedText text(strdup(value));
    if (!key || !text)
        return out_of_memory("form");
    const std::size_t before = pconf->nmemb;
    const conf_entry wanted = {key.get(), text.get()};
    auto* const stored = static_cast<conf_entry*>(
        lsearch(&wanted, pconf->data, &pconf->nmemb, sizeof(conf_entry), cmp_conf));
    if (pconf->nmemb != before) {
        static_cast<void>(key.release());
        static_cast<void>(text.release());
        pconf->finalized = 0;
    } else {
        std::free(std::exchange(stored->value, text.release()));
    }
    return 0;
}

void conf_finalize_r(conf_data* pconf) {
    if (pconf->finalized == 1)
        return;
    if (pconf->nmemb > 1)
        std::qsort(pconf->data, pconf->nmemb, sizeof(conf_entry), cmp_conf);
    pconf->finalized = 1;
}

char* conf_get_r(const char* name, conf_data* pconf) {
    if (pconf->nmemb == 0)
        return nullptr;
    const conf_entry wanted = {const_cast<char*>(name), nullptr};
    const void* const found =
        pconf->finalized == 1
            ? std::bsearch(&wanted, pconf->data, pconf->nmemb, sizeof(conf_entry), cmp_conf)
            : lfind(&wanted, pconf->data, &pconf->nmemb, sizeof(conf_entry), cmp_conf);
    return found == nullptr ? nullptr : static_cast<const conf_entry*>(found)->value;
}

int conf_read_file_r(const char* conf_file, conf_data* pconf) {
    const File file(std::fopen(conf_file, "rt"));
    if (!file) {
        const int reason = errno;
        orvek_log(level, "unable to open configuration file %s: %s\n", conf_file,
                  std::strerror(reason));
        errno = reason;
        return -1;
    }
    char* line = nullptr;
    std::size_t size = 0;
    bool stored = true;
    while (stored && (errno = 0, getline(&line, &size, file.get()) != -1))
        stored = read_line(line, pconf) == 0;
    const int reason = errno;
    const MallocedText owner(line);
    if (!stored)
        return -1;
    conf_finalize_r(pconf);
    if (std::feof(file.get()) && !std::ferror(file.get())) {
        errno = 0;
        return 0;
    }
    orvek_log(level, "Unable to read configuration file: %s", std::strerror(reason));
    errno = reason;
    return -1;
}

void conf_free_r(conf_data* pconf) {
    if (pconf == nullptr)
        return;
    for (std::size_t i = 0; i < pconf->nmemb; ++i) {
        std::free(pconf->data[i].key);
        std::free(pconf->data[i].value);
    }
    std::free(pconf->data);
    std::free(pconf);
}

int cmp_conf(const void* left, const void* right) {
    return std::strcmp(static_cast<const conf_entry*>(left)->key,
                       static_cast<const conf_entry*>(right)->key);
}
