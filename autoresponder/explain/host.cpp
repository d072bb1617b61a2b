#include "autoresponder/explain/host.h"

#include "autoresponder/outgoing/size_limit.h"
#include "base/owned.h"
#include "lib/autoprepend.h"
#include "lib/dbconnect.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

namespace {

std::string name_of_user(uid_t id) {
    const passwd* const entry = getpwuid(id);
    return entry == nullptr ? std::to_string(id) : entry->pw_name;
}

HostFile file_at(const char* path) {
    if (Descriptor(open(path, O_RDONLY | O_CLOEXEC)))
        return {path, {}, false};
    return {path, std::strerror(errno), errno == ENOENT};
}

} // namespace

HostFacts host_facts(const Policy& policy) {
    return {name_of_user(geteuid()),
            geteuid() == 0,
            {file_at(configuration_file), file_at(password_file), file_at(size_limit_file)},
            in_force(policy)};
}
