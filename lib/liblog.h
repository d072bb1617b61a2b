// The level logger: messages with a syslog priority, to both output streams or to the system log.
#pragma once

#include <cstdarg>

// GCC heeds the attribute of a type only, Clang that of a variable.
typedef void LogFuncType(int level, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
typedef void LogVFuncType(int level, const char* fmt, va_list args)
    __attribute__((format(printf, 2, 0)));

/// Where messages go; never null. At first the console: a message of level 6 (LOG_INFO) or below
/// goes to standard error and to standard output, with a line end and nothing else added; one of
/// a higher level, a facility in it included, is dropped.
extern LogFuncType* orvek_log __attribute__((format(printf, 2, 3)));
extern LogVFuncType* orvek_logv __attribute__((format(printf, 2, 0)));

/// Chooses the destination. With a `Location` it is the console, for levels up to `Level` (0 when
/// that is less). Without one it is the system log, opened as `ident` with `Option` (the process id
/// always added) and `Facility`; `Level` then filters nothing.
void orvek_log_init(const char* Location, int Level, int Facility, int Option, const char* ident);
