// The connection that an operation of the parameter store works on.
#pragma once

#include "lib/dbconnect_legacy.h"
#include "lib/mysql_owned.h"

/// The caller's connection, or one of its own that ends with it.
class PanelConnection {
public:
    explicit PanelConnection(MYSQL* given)
        : own_(given == nullptr ? db_connect() : nullptr), used_(given ? given : own_.get()) {}

    /// Null when there was none to be had; db_connect has said why.
    MYSQL* get() const { return used_; }

private:
    MysqlConnection own_;
    MYSQL* used_;
};
