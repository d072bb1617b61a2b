// The temporary file that a reply is composed in.
#pragma once

#include "base/owned.h"

#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string_view>
#include <vector>

/// Output to the file named by resp_uu_file_name, which must be there and is emptied first. When it
/// cannot be opened, a write fails or more than `limit` bytes have been written, everything from
/// then on is silently lost.
class ReplyFile {
public:
    explicit ReplyFile(std::uint64_t limit);
    ReplyFile(const ReplyFile&) = delete;
    ReplyFile& operator=(const ReplyFile&) = delete;

    void write(std::string_view text);

    /// The pieces one after the other and a line feed.
    void line(std::initializer_list<std::string_view> pieces);

    /// Whether what is written next is not lost, as far as is known.
    bool takes_more() const;

private:
    std::uint64_t limit_;
    std::uint64_t written_ = 0;
    std::vector<char> buffer_ = std::vector<char>(65536); // outlives file_, which flushes it
    File file_;
};

/// Names a new reply file in resp_uu_file_name and creates it, readable by its owner only. The
/// caller keeps the descriptor while the file is written. -1 when it cannot be created.
Descriptor create_reply_file();
