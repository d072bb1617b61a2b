// The panel's configuration: the variables of /etc/ovk/ovk.conf, read once per process, with
// compile-time defaults for the well-known ones.
//
// All texts handed out belong to the library and stay valid for the rest of the process.
#pragma once

inline constexpr char configuration_file[] = "/etc/ovk/ovk.conf";

/// Index of a well-known variable. The first and the last are sentinels.
enum OvkConfVarIndexT {
    _MIN_POSSIBLE_OVK_CONF_VAR_INDEX = 0,
    _ORVEK_MAILNAMES_D_INDEX,
    _COURIER_IMAP_ROOT_D_INDEX,
    _RBLSMTPD_INDEX,
    _CLIENT_PHP_BIN_INDEX,
    _LIB_CRYPTO_PATH_INDEX,
    _LIB_SSL_PATH_INDEX,
    _AWSTATS_DOC_D_INDEX,
    _AWSTATS_TOOLS_D_INDEX,
    _AWSTATS_BIN_D_INDEX,
    _AWSTATS_ETC_D_INDEX,
    _CATALINA_HOME_INDEX,
    _MAILMAN_VAR_D_INDEX,
    _MAILMAN_ROOT_D_INDEX,
    _PGSQL_DATA_D_INDEX,
    _PGSQL_BIN_D_INDEX,
    _MYSQL_BIN_D_INDEX,
    _MYSQL_VAR_D_INDEX,
    _WEB_STAT_INDEX,
    _DUMP_D_INDEX,
    _DUMP_TMP_D_INDEX,
    _NAMED_RUN_ROOT_D_INDEX,
    _FTPD_CONF_INC_INDEX,
    _HTTPD_SERVICE_INDEX,
    _HTTPD_LOG_D_INDEX,
    _HTTPD_INCLUDE_D_INDEX,
    _HTTPD_CONF_D_INDEX,
    _HTTPD_VHOSTS_D_INDEX,
    _PRODUCT_ROOT_D_INDEX,
    _NAMED_OPTIONS_CONF_INDEX,
    _NAMED_ZONES_CONF_INDEX,
    _MAX_POSSIBLE_OVK_CONF_VAR_INDEX,
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
