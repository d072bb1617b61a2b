// autoresponder-held LINKS COMMAND... -- PATH...: becomes COMMAND with a name for each folder and
// file, which it holds open: /proc/self/fd/N, and "/." behind a folder. Whatever its owner puts in
// that place meanwhile, the name stays that of what was looked at. Left out are links, what a link
// on the way leads to, what is gone, and files with more than LINKS names, for they may be somebody
// else's.
//
// Status 0 when nothing is left, 1, with the reason on standard error, when it cannot start
// COMMAND.
#include "base/owned.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <system_error>

namespace {

/// The name of what lies at `path`, which stays open; empty when it is left out.
std::string hold(const char* path, unsigned long links) {
    Descriptor held(open(path, O_PATH | O_NOFOLLOW));
    const std::string name = "/proc/self/fd/" + std::to_string(held.get());
    struct stat status;
    std::error_code ignored;
    // The path last: of a file whose second name has just gone it says "(deleted)".
    if (!held || fstat(held.get(), &status) == -1 || S_ISLNK(status.st_mode) ||
        (!S_ISDIR(status.st_mode) && status.st_nlink > links) ||
        std::filesystem::read_symlink(name, ignored) != path)
        return "";
    held.release();
    return S_ISDIR(status.st_mode) ? name + "/." : name;
}

} // namespace

int main(int count, char** arguments) {
    char** const end = arguments + count;
    char** place = std::find(arguments + std::min(count, 2), end, std::string_view("--"));
    const char* const* const first = place;
    for (char** path = place + 1; path < end; ++path) {
        const std::string name = hold(*path, std::strtoul(arguments[1], nullptr, 10));
        if (!name.empty())
            *place++ = strdup(name.c_str());
    }
    if (place == first)
        return 0;
    *place = nullptr;
    execvp(arguments[2], arguments + 2);
    std::perror("autoresponder-held");
    return 1;
}
