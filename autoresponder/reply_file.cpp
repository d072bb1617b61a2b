#include "autoresponder/reply_file.h"

#include "autoresponder/process.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>

namespace {

/// Never creates the file: a name that create_reply_file could not make one for is nobody's.
std::FILE* open_existing(const char* name) {
    Descriptor file(open(name, O_WRONLY | O_TRUNC | O_NOFOLLOW | O_CLOEXEC));
    std::FILE* const stream = file ? fdopen(file.get(), "w") : nullptr;
    if (stream != nullptr)
        static_cast<void>(file.release());
    return stream;
}

} // namespace

ReplyFile::ReplyFile(std::uint64_t limit) : limit_(limit), file_(open_existing(resp_uu_file_name)) {
    if (file_)
        std::setvbuf(file_.get(), buffer_.data(), _IOFBF, buffer_.size());
}

void ReplyFile::write(std::string_view text) {
    if (takes_more())
        written_ += std::fwrite(text.data(), 1, text.size(), file_.get());
}

bool ReplyFile::takes_more() const {
    return file_ && !std::ferror(file_.get()) && written_ <= limit_;
}

void ReplyFile::line(std::initializer_list<std::string_view> pieces) {
    for (const std::string_view piece : pieces)
        write(piece);
    write("\n");
}

Descriptor create_reply_file() {
    std::memcpy(resp_uu_file_name, reply_file_template, sizeof resp_uu_file_name);
    return Descriptor(mkstemp(resp_uu_file_name));
}
