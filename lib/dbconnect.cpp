#include "lib/dbconnect.h"

#include "base/owned.h"
#include "lib/mysql_owned.h"

#include <array>
#include <cerrno>
#include <cstring>

namespace {

constexpr char password_file[] = "/etc/ovk/.ovk.shadow";

/// Room for the part of the password line that is read, and its terminator.
using Password = std::array<char, 100>;

bool orvek_get_admin_password(Password& password, char* msgbuf, std::size_t msgbufsize) {
    const File file(std::fopen(password_file, "re"));
    if (!file) {
        std::snprintf(msgbuf, msgbufsize, "Unable to open admin password file: %s",
                      std::strerror(errno));
        return false;
    }
    errno = 0; // the end of a file is no error, and leaves errno as it was
    if (std::fgets(password.data(), static_cast<int>(password.size()), file.get()) == nullptr) {
        std::snprintf(msgbuf, msgbufsize, "Unable to read admin password file: %s",
                      std::strerror(errno));
        return false;
    }
    const std::size_t length = std::strlen(password.data());
    if (length > 0 && password[length - 1] == '\n')
        password[length - 1] = '\0';
    return true;
}

void set_db_errmsg(MYSQL* handle, char* msgbuf, std::size_t msgbufsize, const char* desc) {
    if (mysql_errno(handle) != 0)
        std::snprintf(msgbuf, msgbufsize, "DB error (%s) %u: %s", desc, mysql_errno(handle),
                      mysql_error(handle));
    else
        std::snprintf(msgbuf, msgbufsize, "DB error (%s): unknown error", desc);
}

void orvek_db_set_options(MYSQL* handle, char* msgbuf, std::size_t msgbufsize) {
    if (mysql_query(handle, "SET NAMES utf8") != 0)
        set_db_errmsg(handle, msgbuf, msgbufsize, "set names query");
    else if ((handle->server_status & SERVER_STATUS_AUTOCOMMIT) == 0 &&
             mysql_autocommit(handle, 1) != 0)
        set_db_errmsg(handle, msgbuf, msgbufsize, "autocommit query");
}

MYSQL* refuse_with_error(MysqlConnection connection) {
    if (connection && mysql_errno(connection.get()) != 0)
        return nullptr;
    return connection.release();
}

} // namespace

MYSQL* orvek_db_connect_raw_ex(char* msgbuf, std::size_t msgbufsize) {
    Password password = {};
    if (!orvek_get_admin_password(password, msgbuf, msgbufsize))
        return nullptr;
    MysqlConnection connection(mysql_init(nullptr));
    if (!connection) {
        std::snprintf(msgbuf, msgbufsize, "Unable to initialize MySQL connection structure: %s",
                      std::strerror(ENOMEM));
        errno = ENOMEM;
        return nullptr;
    }
    const bool connected = mysql_real_connect(connection.get(), "localhost", "admin",
                                              password.data(), "ovk", 0, nullptr, 0) != nullptr;
    explicit_bzero(password.data(), password.size());
    if (!connected) {
        const int reason = errno;
        std::snprintf(msgbuf, msgbufsize, "Unable to connect to Orvek Database: %s",
                      mysql_error(connection.get()));
        connection.reset();
        errno = reason;
        return nullptr;
    }
    return connection.release();
}

MYSQL* orvek_db_connect_raw(char* msgbuf, std::size_t msgbufsize) {
    return refuse_with_error(MysqlConnection(orvek_db_connect_raw_ex(msgbuf, msgbufsize)));
}

MYSQL* orvek_db_connect_ex(char* msgbuf, std::size_t msgbufsize) {
    MYSQL* const handle = orvek_db_connect_raw(msgbuf, msgbufsize);
    if (handle != nullptr)
        orvek_db_set_options(handle, msgbuf, msgbufsize);
    return handle;
}

MYSQL* orvek_db_connect(char* msgbuf, std::size_t msgbufsize) {
    return refuse_with_error(MysqlConnection(orvek_db_connect_ex(msgbuf, msgbufsize)));
}
