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

#define OVK_CONF_NAME(name, value) #name,
constexpr const char* theOvkConfNames[variable_count] = {"_MIN_POSSIBLE_OVK_CONF_VAR_NAME",
                                                         OVK_CONF_VARIABLES(OVK_CONF_NAME) //
                                                         "_MAX_POSSIBLE_OVK_CONF_VAR_NAME"};

#define OVK_CONF_DEFAULT(name, value) value,
constexpr const char* theOvkConfDefauls[variable_count] = {"_MIN_POSSIBLE_OVK_CONF_VAR_VALUE",
                                                           OVK_CONF_VARIABLES(OVK_CONF_DEFAULT) //
                                                           "_MAX_POSSIBLE_OVK_CONF_VAR_VALUE"};

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
