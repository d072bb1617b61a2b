// Members of the process-execution family that run the panel's own programs and log their failures.
#include "lib/autoprepend.h"
#include "lib/product_log.h"
#include "lib/utilities/forkexec.h"
#include "lib/utilities/spawn.h"

#include <array>
#include <cstdio>
#include <cstring>

namespace {

constexpr char library_directory[] = "/usr/lib64/orvek-9.0";

using Path = std::array<char, 4096>;

/// Path of the panel utility `util`; false, after a message, for a name that is no plain name.
bool utility_path(const char* util, Path& path) {
    if (std::strchr(util, '/') != nullptr) {
        messlog2(0, 0, "Utility name '%s' is invalid. Use only utility name without path.", util);
        return false;
    }
    std::snprintf(path.data(), path.size(), "%s/admin/sbin/%s",
                  ovkConfGetDefaultByIndex(_PRODUCT_ROOT_D_INDEX), util);
    return true;
}

int execute_logged(const char* path, va_list args) {
    return fork_execv_log(path, spawn::collect_fixed(path, args).data(), 0);
}

} // namespace

int util_exec(const char* util, ...) {
    Path path;
    if (!utility_path(util, path))
        return -1;
    OVK_COLLECT(result, util, execute_logged(path.data(), args));
    return result;
}

int util_exec_args(const char* util, const char* const args[]) {
    Path path;
    return utility_path(util, path) ? fork_execv_log(path.data(), args, 0) : -1;
}

int util_libexec(const char* util, ...) {
    Path path;
    std::snprintf(path.data(), path.size(), "%s/%s", library_directory, util);
    OVK_COLLECT(result, util, execute_logged(path.data(), args));
    return result;
}

int path_exec(const char* path, ...) {
    OVK_COLLECT(result, path, execute_logged(path, args));
    return result;
}
