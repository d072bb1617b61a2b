// Connection to the panel database "ovk" on the local server, as user "admin" with the password in
// /etc/ovk/.ovk.shadow (its first line, at most 99 bytes of it), in layers that each add one thing.
//
// Every layer returns a handle that the caller ends with mysql_close, or null. None prints
// anything: on failure, and then only, an explanation goes into `msgbuf`, cut to `msgbufsize` - 1
// characters and terminated.
#pragma once

#include <cstddef>
#include <mysql.h>

inline constexpr char password_file[] = "/etc/ovk/.ovk.shadow";

/// Reads the password, creates the handle and connects.
MYSQL* orvek_db_connect_raw_ex(char* msgbuf, std::size_t msgbufsize);

/// Refuses a handle that has an error pending: closes it and returns null.
MYSQL* orvek_db_connect_raw(char* msgbuf, std::size_t msgbufsize);

/// Switches a raw connection to UTF-8 and, where the server's default is another, to statements
/// that stay in effect by themselves. When that fails, the handle is returned all the same, with
/// the explanation in `msgbuf`.
MYSQL* orvek_db_connect_ex(char* msgbuf, std::size_t msgbufsize);

/// Refuses a handle that has an error pending, and so one that could not be switched.
MYSQL* orvek_db_connect(char* msgbuf, std::size_t msgbufsize);
