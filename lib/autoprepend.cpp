#include "lib/autoprepend.h"

#include "lib/product_log.h"
#include "lib/read_configuration.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace {

constexpr int variable_count = _MAX_POSSIBLE_OVK_CONF_VAR_INDEX + 1;

constexpr const char* theOvkConfNames[] = {
    "_MIN_POSSIBLE_OVK_CONF_VAR_NAME",
    "ORVEK_MAILNAMES_D",
    "COURIER_IMAP_ROOT_D",
    "RBLSMTPD",
    "CLIENT_PHP_BIN",
    "LIB_CRYPTO_PATH",
    "LIB_SSL_PATH",
    "AWSTATS_DOC_D",
    "AWSTATS_TOOLS_D",
    "AWSTATS_BIN_D",
    "AWSTATS_ETC_D",
    "CATALINA_HOME",
    "MAILMAN_VAR_D",
    "MAILMAN_ROOT_D",
    "PGSQL_DATA_D",
    "PGSQL_BIN_D",
    "MYSQL_BIN_D",
    "MYSQL_VAR_D",
    "WEB_STAT",
    "DUMP_D",
    "DUMP_TMP_D",
    "NAMED_RUN_ROOT_D",
    "FTPD_CONF_INC",
    "HTTPD_SERVICE",
    "HTTPD_LOG_D",
    "HTTPD_INCLUDE_D",
    "HTTPD_CONF_D",
    "HTTPD_VHOSTS_D",
    "PRODUCT_ROOT_D",
    "NAMED_OPTIONS_CONF",
    "NAMED_ZONES_CONF",
    "_MAX_POSSIBLE_OVK_CONF_VAR_NAME",
};
static_assert(std::size(theOvkConfNames) == variable_count);

constexpr const char* theOvkConfDefauls[] = {
    "_MIN_POSSIBLE_OVK_CONF_VAR_VALUE",
    "/var/qmail/mailnames",
    "/",
    "/usr/sbin/rblsmtpd",
    "/usr/local/ovk/bin/php-cli",
    "/lib/libcrypto.so",
    "/lib/libssl.so",
    "/usr/share/apache2/icons/awstats",
    "/usr/share/awstats",
    "/srv/www/cgi-bin/awstats",
    "/etc/awstats",
    "/usr/share/tomcat6",
    "/var/lib/mailman",
    "/usr/lib/mailman",
    "/var/lib/pgsql/data",
    "/usr/bin",
    "/usr/bin",
    "/var/lib/mysql",
    "/usr/bin/webalizer",
    "/var/lib/ovk/dumps",
    "/tmp",
    "/var/lib/named",
    "/etc/proftpd.include",
    "apache2",
    "/var/log/apache2",
    "/etc/apache2/conf.d",
    "/etc/apache2",
    "/srv/www/vhosts",
    "/usr/local/ovk",
    "/etc/named.conf.include.orvek-options",
    "/etc/named.conf.include.orvek-zones",
    "_MAX_POSSIBLE_OVK_CONF_VAR_VALUE",
};
static_assert(std::size(theOvkConfDefauls) == variable_count);

/// The loaded table; null until a load has succeeded, never freed after.
conf_data* theOvkConfHash = nullptr;

/// Values found so far, by index; they point into the table.
const char* theOvkConfArray[variable_count];
int arrayInitialized = 0;

void initializeArray() {
    if (arrayInitialized != 0)
        return;
    std::fill(std::begin(theOvkConfArray), std::end(theOvkConfArray), nullptr);
    arrayInitialized = 1;
}

} // namespace

int autoprepend() {
    if (theOvkConfHash != nullptr)
        return 0;
    initializeArray();
    auto* const table = static_cast<conf_data*>(std::calloc(1, sizeof(conf_data)));
    if (table == nullptr) {
        messlog2(0, 1, "Not enough memory to allocate Orvek runtime configuration structure\n");
        return -1;
    }
    if (conf_read_file_r(configuration_file, table) == -1) {
        const int reason = errno;
        conf_free_r(table);
        errno = reason;
        return -1;
    }
    theOvkConfHash = table;
    return 0;
}

int autoprepend_once() {
    static conf_data without_variables = {};
    const int result = autoprepend();
    if (result == -1)
        theOvkConfHash = &without_variables;
    return result;
}

const char* ovkConfGet(const char* name) {
    if (theOvkConfHash == nullptr && autoprepend() == -1)
        return nullptr;
    return conf_get_r(name, theOvkConfHash);
}

const char* ovkConfGetByIndex(OvkConfVarIndexT i) {
    initializeArray();
    if (theOvkConfArray[i] == nullptr)
        theOvkConfArray[i] = ovkConfGet(theOvkConfNames[i]);
    return theOvkConfArray[i];
}

const char* ovkConfGetDefaultByIndex(OvkConfVarIndexT i) {
    const char* const value = ovkConfGetByIndex(i);
    return value != nullptr ? value : theOvkConfDefauls[i];
}

const char* ovkConfGetDefault(const char* name) {
    for (int i = 0; i < _MAX_POSSIBLE_OVK_CONF_VAR_INDEX; ++i) {
        if (std::strcmp(name, theOvkConfNames[i]) == 0)
            return ovkConfGetDefaultByIndex(static_cast<OvkConfVarIndexT>(i));
    }
    messlog2(0, 1, "variable '%s' isn't found neither in %s nor in compile-time defaults\n", name,
             configuration_file);
    return nullptr;
}
