// The entry points to the panel database that most programs of the panel use.
#pragma once

#include <cstddef>
#include <mysql.h>

/// As orvek_db_connect.
MYSQL* db_connect_nothrow(char* msgbuf, std::size_t msgbufsize);

/// A connection in UTF-8, which the caller ends with mysql_close; null, after a message on both
/// output streams, when there is none to be had.
MYSQL* db_connect();
