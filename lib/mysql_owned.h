// Owners for the handles of the MySQL client library.
#pragma once

#include <memory>
#include <mysql.h>

struct MysqlCloser {
    void operator()(MYSQL* handle) const noexcept { mysql_close(handle); }
};

/// A connection handle from mysql_init or db_connect; null when there is none.
using MysqlConnection = std::unique_ptr<MYSQL, MysqlCloser>;

struct MysqlResultFreer {
    void operator()(MYSQL_RES* result) const noexcept { mysql_free_result(result); }
};

/// A stored result set. Null means that the statement gave none.
using MysqlResult = std::unique_ptr<MYSQL_RES, MysqlResultFreer>;
