// Parameter store, reading side: single values of the panel database, and escaping for its
// statements.
//
// Every reader takes an open connection, which it leaves open, or null, for one of its own. The
// text that it returns lies in one buffer that all readers share: at most 4095 bytes of the value,
// terminated, valid until the next reader is called, not to be freed. No row and NULL give an
// empty text; null, after a message, means failure.
#pragma once

#include <mysql.h>

/// Column `num`, which the result must have, of the first row that `query` gives.
char* get_param_from_bigquery(const char* query, MYSQL* my, int num);

/// Column 0 of the first row that `query` gives.
char* get_param_query(const char* query, MYSQL* my);

/// Column `val_col` of the row of `table` whose `param_col` equals `param_name`. The names go into
/// the statement as they are; it is cut at 4095 characters.
char* get_param_simple(const char* param_name, const char* table, const char* param_col,
                       const char* val_col, MYSQL* my);

/// A server-wide parameter (table misc).
char* get_param(const char* par_name, MYSQL* my);

/// `param` escaped for a quoted literal, by the connection's character set and the server's mode
/// (its status tells whether a backslash has a meaning). The caller frees it. Null for null;
/// without memory the process ends with status 1, after a message.
char* escape_mysql_param(MYSQL* conn, const char* param);
