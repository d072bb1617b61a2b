#include "lib/dbconnect.h"

#include "base/io.h"
#include "base/owned.h"
#include "lib/mysql_owned.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>

namespace {

/// Without those by which whoever answers at the socket gets the password as it is
/// (mysql_clear_password, dialog) or nearly so (mysql_old_password), or by a key of his own
/// (sha256_password). caching_sha2_password stays for servers of MySQL, though by it one at a local
/// socket may ask for the password as it is.
constexpr char ways_to_log_in[] =
    "mysql_native_password,client_ed25519,auth_gssapi_client,parsec,caching_sha2_password";

/// Room for the part of the password line that is read, and its terminator.
using Password = std::array<char, 100>;

bool orvek_get_admin_password(Password& password, char* msgbuf, std::size_t msgbufsize) {
    const Descriptor file(open(password_file, O_RDONLY | O_CLOEXEC)); // a stream would keep a copy
    if (!file) {
        std::snprintf(msgbuf, msgbufsize, "Unable to open admin password file: %s",
                      std::strerror(errno));
        return false;
    }
    errno = 0; // the end of a file is no error, and leaves errno as it was
    const std::size_t length = read_fully(file.get(), password.data(), password.size() - 1);
    if (length == 0) {
        std::snprintf(msgbuf, msgbufsize, "Unable to read admin password file: %s",
                      std::strerror(errno));
        return false;
    }
    *std::find(password.begin(), password.begin() + length, '\n') = '\0';
    return true;
}

/// Leaves nothing of the password in the client library's memory: its copy, and the last message
/// that it sent, which may have been one.
void wipe_password(MYSQL* handle) {
    explicit_bzero(handle->passwd, std::strlen(handle->passwd));
    explicit_bzero(handle->net.buff, 2 * sizeof(Password));
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
    mysql_optionsv(connection.get(), MARIADB_OPT_RESTRICTED_AUTH, ways_to_log_in);
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
    wipe_password(connection.get());
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
