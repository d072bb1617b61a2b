// The panel's configuration: the variables of /etc/ovk/ovk.conf, read once per process, with
// compile-time defaults for the well-known ones.
//
// All texts handed out belong to the library and stay valid for the rest of the process.
#pragma once

inline constexpr char configuration_file[] = "/etc/ovk/ovk.conf";

/// The well-known variables in the order of their indexes, and what they are where the file does
/// not say.
#define OVK_CONF_VARIABLES(X)                                                                      \
    X(ORVEK_MAILNAMES_D, "/var/qmail/mailnames")                                                   \
    X(COURIER_IMAP_ROOT_D, "/")                                                                    \
    X(RBLSMTPD, "/usr/sbin/rblsmtpd")                                                              \
    X(CLIENT_PHP_BIN, "/usr/local/ovk/bin/php-cli")                                                \
    X(LIB_CRYPTO_PATH, "/lib/libcrypto.so")                                                        \
    X(LIB_SSL_PATH, "/lib/libssl.so")                                                              \
    X(AWSTATS_DOC_D, "/usr/share/apache2/icons/awstats")                                           \
    X(AWSTATS_TOOLS_D, "/usr/share/awstats")                                                       \
    X(AWSTATS_BIN_D, "/srv/www/cgi-bin/awstats")                                                   \
    X(AWSTATS_ETC_D, "/etc/awstats")                                                               \
    X(CATALINA_HOME, "/usr/share/tomcat6")                                                         \
    X(MAILMAN_VAR_D, "/var/lib/mailman")                                                           \
    X(MAILMAN_ROOT_D, "/usr/lib/mailman")                                                          \
    X(PGSQL_DATA_D, "/var/lib/pgsql/data")                                                         \
    X(PGSQL_BIN_D, "/usr/bin")                                                                     \
    X(MYSQL_BIN_D, "/usr/bin")                                                                     \
    X(MYSQL_VAR_D, "/var/lib/mysql")                                                               \
    X(WEB_STAT, "/usr/bin/webalizer")                                                              \
    X(DUMP_D, "/var/lib/ovk/dumps")                                                                \
    X(DUMP_TMP_D, "/tmp")                                                                          \
    X(NAMED_RUN_ROOT_D, "/var/lib/named")                                                          \
    X(FTPD_CONF_INC, "/etc/proftpd.include")                                                       \
    X(HTTPD_SERVICE, "apache2")                                                                    \
    X(HTTPD_LOG_D, "/var/log/apache2")                                                             \
    X(HTTPD_INCLUDE_D, "/etc/apache2/conf.d")                                                      \
    X(HTTPD_CONF_D, "/etc/apache2")                                                                \
    X(HTTPD_VHOSTS_D, "/srv/www/vhosts")                                                           \
    X(PRODUCT_ROOT_D, "/usr/local/ovk")                                                            \
    X(NAMED_OPTIONS_CONF, "/etc/named.conf.include.orvek-options")                                 \
    X(NAMED_ZONES_CONF, "/etc/named.conf.include.orvek-zones")

/// Index of a well-known variable. The first and the last are sentinels.
enum OvkConfVarIndexT {
    _MIN_POSSIBLE_OVK_CONF_VAR_INDEX,
#define OVK_CONF_INDEX(name, value) _##name##_INDEX,
    OVK_CONF_VARIABLES(OVK_CONF_INDEX) //
    _MAX_POSSIBLE_OVK_CONF_VAR_INDEX
};

/// Loads the configuration file unless that has happened. Returns 0, or -1 when it cannot be read;
/// the next call tries again.
int autoprepend();

/// The same for a program that is to look for the file once: one that it could not read counts as a
/// file without variables from here on, and no lookup tries again. Returns 0, or -1 with errno set:
/// ENOENT where there is no file.
int autoprepend_once();

/// The value in the file, loading it on first use; null when it is not there or cannot be loaded.
const char* ovkConfGet(const char* name);

/// The same by index, which must be one of the enumeration.
const char* ovkConfGetByIndex(OvkConfVarIndexT i);

/// The value in the file, else the default. Never null.
const char* ovkConfGetDefaultByIndex(OvkConfVarIndexT i);

/// The same by name; null, after a message, for a name without a default, whatever the file says.
const char* ovkConfGetDefault(const char* name);
