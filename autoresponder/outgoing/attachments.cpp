#include "autoresponder/outgoing/attachments.h"

#include "autoresponder/run/panel_query.h"
#include "base/io.h"
#include "base/text.h"
#include "codecs/base64.h"
#include "lib/libcommon.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

Descriptor open_directory_at(int parent, const char* path) {
    return Descriptor(openat(parent, path, O_PATH | O_DIRECTORY | O_CLOEXEC));
}

/// Where the link that was looked at leads, so that it may be exchanged for another meanwhile.
Descriptor follow_link(int parent, int link) {
    std::array<char, PATH_MAX> target;
    const ssize_t length = readlinkat(link, "", target.data(), target.size() - 1);
    if (length == -1)
        return {};
    target[static_cast<std::size_t>(length)] = '\0';
    return open_directory_at(parent, target.data());
}

/// A mailbox may have no name; then its folder is that of the domain.
Descriptor open_trusted_component(int parent, const std::string& name) {
    Descriptor found(
        openat(parent, name.empty() ? "." : name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat status;
    if (!found || fstat(found.get(), &status) == -1 || S_ISDIR(status.st_mode))
        return found;
    // A link counts only when root made it where it is: one of root's from elsewhere may have been
    // linked to.
    if (S_ISLNK(status.st_mode) && status.st_uid == 0 && status.st_nlink == 1)
        return follow_link(parent, found.get());
    errno = S_ISLNK(status.st_mode) ? ELOOP : ENOTDIR;
    return {};
}

/// The last two components, the mailbox's folder and its repository, are where its owner may write.
Descriptor open_repository(const std::string& directory) {
    const std::size_t last = directory.rfind('/');
    const std::size_t mailbox = directory.rfind('/', last - 1);
    const Descriptor domain = open_directory_at(AT_FDCWD, directory.substr(0, mailbox).c_str());
    if (!domain)
        return {};
    const Descriptor parent =
        open_trusted_component(domain.get(), directory.substr(mailbox + 1, last - mailbox - 1));
    return parent ? open_trusted_component(parent.get(), directory.substr(last + 1)) : Descriptor();
}

/// What `name` leads to in the end, as a path from `directory` that begins with "./", has no links
/// and ends with "/". None, with errno set, when that lies elsewhere or is not there.
std::optional<std::string> path_inside(const std::string& directory, const std::string& name) {
    const MallocedText root(realpath(directory.c_str(), nullptr));
    const MallocedText target(realpath(concat({directory, "/", name}).c_str(), nullptr));
    if (!root || !target)
        return std::nullopt;
    const std::string above = concat({root.get(), "/"});
    const std::string path = concat({target.get(), "/"});
    if (path.starts_with(above))
        return concat({"./", std::string_view(path).substr(above.size())});
    errno = EXDEV;
    return std::nullopt;
}

/// What the name leads to may be exchanged for a link at any time, so none is followed here.
Descriptor open_inside(const std::string& directory, const std::string& name, int flags) {
    Descriptor root = open_repository(directory);
    const std::optional<std::string> path = root ? path_inside(directory, name) : std::nullopt;
    return path ? open_without_links(std::move(root), *path, flags) : Descriptor();
}

/// Opening a device may act on it, and opening a FIFO waits for a writer. A file that is somebody
/// else's may have been linked into the repository.
bool can_be_read(int fd, const std::string& directory) {
    struct stat status;
    if (fstat(fd, &status) == -1)
        return false;
    if (S_ISDIR(status.st_mode))
        return true;
    if (!S_ISREG(status.st_mode)) {
        errno = ENXIO;
        return false;
    }
    struct stat owner;
    const Descriptor repository = open_repository(directory);
    if (status.st_nlink == 1 ||
        (repository && fstat(repository.get(), &owner) == 0 && owner.st_uid == status.st_uid))
        return true;
    errno = EMLINK;
    return false;
}

} // namespace

Descriptor open_without_links(Descriptor directory, std::string_view path, int flags) {
    while (directory && !path.empty()) {
        const std::size_t slash = path.find('/');
        const std::string component(path.substr(0, slash));
        path.remove_prefix(std::min(slash, path.size() - 1) + 1);
        const int how = path.empty() ? flags : O_PATH | O_DIRECTORY | O_CLOEXEC;
        directory.reset(openat(directory.get(), component.c_str(), how | O_NOFOLLOW));
    }
    return directory;
}

bool attachment_exists(const std::string& directory, const std::string& name) {
    return static_cast<bool>(open_inside(directory, name, O_PATH | O_CLOEXEC));
}

Descriptor open_attachment(const std::string& directory, const std::string& name) {
    const Descriptor seen = open_inside(directory, name, O_PATH | O_CLOEXEC);
    if (!seen || !can_be_read(seen.get(), directory))
        return {};
    // Looked at once more after opening: the name may have changed hands in between.
    Descriptor file = open_inside(directory, name, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (file && !can_be_read(file.get(), directory))
        file.reset();
    return file;
}

AttachmentNames find_attachments(MYSQL* connection, const std::string& rule_id,
                                 const std::string& directory) {
    const MysqlResult rows = run_query_patiently_or_throw(
        connection, concat({"select filename from resp_attach where rn_id=", rule_id}));
    AttachmentNames names;
    while (const std::optional<Row> row = next_row(rows)) {
        std::string stored = row->text(0);
        if (stored.empty())
            continue;
        std::string name = orvek_trim(stored.data());
        if (attachment_exists(directory, name))
            names.found.push_back(std::move(name));
        else
            names.missing.append(name).append(1, '\n');
    }
    return names;
}

void write_encoded(int file, TemporaryFile& message) {
    constexpr std::size_t bytes_per_line = 45;
    constexpr std::size_t line_length = 60;
    constexpr std::size_t lines_per_block = 256;
    std::vector<unsigned char> bytes(bytes_per_line * lines_per_block);
    std::vector<char> lines((line_length + 1) * lines_per_block + 1);
    struct stat status;
    std::size_t left = fstat(file, &status) == 0 ? static_cast<std::size_t>(status.st_size) : 0;
    while (const std::size_t count =
               message.takes_more() ? read_fully(file, bytes.data(), std::min(left, bytes.size()))
                                    : 0) {
        left -= count;
        std::size_t length = 0;
        for (std::size_t at = 0; at < count; at += bytes_per_line) {
            const std::size_t chunk = std::min(bytes_per_line, count - at);
            base64Encode(bytes.data() + at, chunk, lines.data() + length);
            length += (chunk + 2) / 3 * 4;
            lines[length++] = '\n';
        }
        message.write({lines.data(), length});
    }
    if (!message.takes_more())
        message.pass_over(left / bytes_per_line * (line_length + 1));
}
