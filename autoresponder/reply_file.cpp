#include "autoresponder/reply_file.h"

#include "autoresponder/process.h"

#include <cstdlib>
#include <cstring>

ReplyFile::ReplyFile() : file_(std::fopen(resp_uu_file_name, "we")) {
    if (file_)
        std::setvbuf(file_.get(), buffer_.data(), _IOFBF, buffer_.size());
}

void ReplyFile::write(std::string_view text) {
    if (file_ && !std::ferror(file_.get()))
        std::fwrite(text.data(), 1, text.size(), file_.get());
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
