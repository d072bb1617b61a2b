// Parameter store, writing side. Names and ids go into the statements as they are, values are
// escaped. Every operation takes an open connection, which it leaves open, or null, for one of its
// own. Each returns 0, or -1 after a message; deleting what is not there succeeds.
#pragma once

#include <mysql.h>

/// Writes a server-wide parameter (table misc), over the one of that name if there is one. With a
/// null value only the name is written, and the value column takes its default.
int put_param(const char* parameter, const char* value, MYSQL* my);

/// Deletes a server-wide parameter. This and the other deleters cut their statement at 4095
/// characters.
int del_param(const char* parameter, MYSQL* my);

/// Deletes a parameter of a domain (table dom_param).
int del_dom_param(const char* dom_id, const char* parameter, MYSQL* my);

/// Deletes a parameter of an object (table Parameters); with a value, only where it has that value.
int del_Parameter(const char* id, const char* parameter, const char* value, MYSQL* my);
