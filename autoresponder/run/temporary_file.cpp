#include "autoresponder/run/temporary_file.h"

#include "base/io.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <utility>

char mail_file_name[] = "/tmp/ovk-autoresponder-XXXXXX";
char resp_uu_file_name[] = "/tmp/ovk-response-uu-XXXXXX";

TemporaryFile mail_copy(mail_file_name, 0); // comes in blocks
TemporaryFile reply_file(resp_uu_file_name, 65536);

bool TemporaryFile::create(std::uint64_t limit) {
    std::fill_n(name_ + std::strlen(name_) - 6, 6, 'X');
    file_.reset(mkostemp(name_, O_CLOEXEC));
    is_made_ = static_cast<bool>(file_);
    begin(limit);
    return is_made_;
}

void TemporaryFile::write(std::string_view bytes) {
    const bool is_lost = !takes_more();
    written_ += bytes.size();
    if (is_lost)
        return;
    if (buffer_.size() + bytes.size() > buffer_size_)
        flush();
    if (bytes.size() < buffer_size_)
        buffer_ += bytes;
    else
        failed_ = failed_ || !write_fully(file_.get(), bytes);
}

void TemporaryFile::line(std::initializer_list<std::string_view> pieces) {
    for (const std::string_view piece : pieces)
        write(piece);
    write("\n");
}

std::uint64_t TemporaryFile::size() {
    flush();
    struct stat status;
    return fstat(file_.get(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

bool TemporaryFile::can_never_be_whole() const {
    struct statvfs system;
    return failed_ && fstatvfs(file_.get(), &system) == 0 &&
           written_ > std::uint64_t{system.f_blocks} * system.f_frsize;
}

void TemporaryFile::restart() {
    begin(no_limit);
    failed_ = ftruncate(file_.get(), 0) == -1 || lseek(file_.get(), 0, SEEK_SET) == -1;
}

void TemporaryFile::finish() {
    flush();
    file_.reset();
}

Descriptor TemporaryFile::take() {
    flush();
    lseek(file_.get(), 0, SEEK_SET);
    return std::move(file_);
}

Descriptor TemporaryFile::open_to_read() const {
    if (!is_made_) {
        errno = ENOENT;
        return {};
    }
    return Descriptor(open(name_, O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
}

void TemporaryFile::remove() const noexcept {
    unlink(name_);
}

void remove_temporary_files() noexcept {
    mail_copy.remove();
    reply_file.remove();
}

void TemporaryFile::begin(std::uint64_t limit) {
    limit_ = limit;
    written_ = 0;
    failed_ = false;
    buffer_.clear();
    buffer_.reserve(buffer_size_);
}

void TemporaryFile::flush() {
    failed_ = failed_ || (file_ && !write_fully(file_.get(), buffer_));
    buffer_.clear();
}
