#include "autoresponder/attachments.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <linux/openat2.h>
#include <string_view>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

/// Names are joined to the directory by a "/", so a leading one of their own adds nothing.
std::string relative_path(const std::string& name) {
    const std::size_t start = name.find_first_not_of('/');
    return start == std::string::npos ? "." : name.substr(start);
}

Descriptor open_directory(const std::string& directory) {
    return Descriptor(open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

/// Opening a device may act on it, and opening a FIFO waits for a writer.
bool can_be_read(int fd) {
    struct stat status;
    if (fstat(fd, &status) == -1)
        return false;
    if (S_ISREG(status.st_mode) || S_ISDIR(status.st_mode))
        return true;
    errno = ENXIO;
    return false;
}

} // namespace

namespace attachments_detail {

Descriptor open_beneath(int directory, const std::string& name, int flags) {
    struct open_how how = {};
    how.flags = static_cast<unsigned>(flags);
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
    // EAGAIN means that a rename elsewhere kept the kernel from proving that ".." stays inside.
    for (int attempts = 0; attempts < 16; ++attempts) {
        const long fd = syscall(SYS_openat2, directory, name.c_str(), &how, sizeof how);
        if (fd != -1)
            return Descriptor(static_cast<int>(fd));
        if (errno != EAGAIN && errno != EINTR)
            break;
    }
    if (errno == ENOSYS || errno == EPERM)
        return walk_beneath(directory, name, flags);
    return {};
}

Descriptor walk_beneath(int directory, const std::string& name, int flags) {
    Descriptor held;
    std::string_view rest = name;
    for (;;) {
        const std::size_t slash = std::min(rest.find('/'), rest.size());
        const std::string component(rest.substr(0, slash));
        rest.remove_prefix(std::min(rest.find_first_not_of('/', slash), rest.size()));
        if (component == "..") {
            errno = EXDEV;
            return {};
        }
        const int at = held ? held.get() : directory;
        if (rest.empty()) {
            // O_PATH with O_NOFOLLOW opens a link itself instead of refusing it.
            Descriptor found(openat(at, component.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
            struct stat status;
            if (!found || fstat(found.get(), &status) == -1)
                return {};
            if (S_ISLNK(status.st_mode)) {
                errno = ELOOP;
                return {};
            }
            return Descriptor(openat(at, component.c_str(), flags | O_NOFOLLOW));
        }
        held = Descriptor(
            openat(at, component.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!held)
            return {};
    }
}

} // namespace attachments_detail

bool attachment_exists(const std::string& directory, const std::string& name) {
    const Descriptor root = open_directory(directory);
    return root &&
           attachments_detail::open_beneath(root.get(), relative_path(name), O_PATH | O_CLOEXEC);
}

Descriptor open_attachment(const std::string& directory, const std::string& name) {
    using attachments_detail::open_beneath;
    const std::string path = relative_path(name);
    const Descriptor root = open_directory(directory);
    if (!root)
        return {};
    const Descriptor seen = open_beneath(root.get(), path, O_PATH | O_CLOEXEC);
    if (!seen || !can_be_read(seen.get()))
        return {};
    // Looked at once more after opening: the name may have changed hands in between.
    Descriptor file = open_beneath(root.get(), path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (file && !can_be_read(file.get())) {
        const int reason = errno;
        file.reset();
        errno = reason;
    }
    return file;
}
