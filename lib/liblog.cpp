#include "lib/liblog.h"

#include <algorithm>
#include <cstdio>
#include <initializer_list>
#include <syslog.h>

namespace {

int LogLevel = LOG_INFO;
int LogFacility = LOG_MAIL;

__attribute__((format(printf, 2, 0))) void _orvek_utility_logv(int level, const char* fmt,
                                                               va_list args) {
    if (level > LogLevel)
        return;
    for (std::FILE* const stream : {stderr, stdout}) {
        va_list again;
        va_copy(again, args);
        std::vfprintf(stream, fmt, again);
        va_end(again);
        std::fputc('\n', stream);
        std::fflush(stream);
    }
}

__attribute__((format(printf, 2, 3))) void _orvek_utility_log(int level, const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    _orvek_utility_logv(level, fmt, args);
    va_end(args);
}

} // namespace

LogFuncType* orvek_log = _orvek_utility_log;
LogVFuncType* orvek_logv = _orvek_utility_logv;

void orvek_log_init(const char* Location, int Level, int Facility, int Option, const char* ident) {
    LogFacility = Facility;
    LogLevel = std::max(Level, 0);
    if (Location != nullptr) {
        orvek_log = _orvek_utility_log;
        orvek_logv = _orvek_utility_logv;
        return;
    }
    closelog();
    openlog(ident, Option | LOG_PID, LogFacility);
    orvek_log = syslog;
    orvek_logv = vsyslog;
}
