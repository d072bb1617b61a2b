// The temporary files of a run: the copy of the incoming message and the reply, from their creation
// until sendmail has read them. What each state leaves when the process ends in it stands in
// docs/DESIGN.md.
#pragma once

#include "base/owned.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <string>
#include <string_view>

/// Name of the copy of the incoming message; the template until the intake has made the file.
extern char mail_file_name[];

/// Name of the reply file; the template until the first reply, and again before each later one.
extern char resp_uu_file_name[];

/// A file whose name lies in a buffer of the process's, where an end by a signal finds it as well.
class TemporaryFile {
public:
    static constexpr std::uint64_t no_limit = std::numeric_limits<std::uint64_t>::max();

    /// `name` holds the template, as mkstemp(3) takes it, and outlives the object. Up to
    /// `buffer_size` bytes that are written wait in memory.
    TemporaryFile(char* name, std::size_t buffer_size) : name_(name), buffer_size_(buffer_size) {}

    /// Makes a new file under a new name, readable by its owner only. False when that fails: there
    /// is then no file, and what is written is lost. At most `limit` bytes and one write are taken.
    bool create(std::uint64_t limit = no_limit);

    /// Nothing is reported. The first failure ends the writing, since a message with a hole would
    /// be worse than a short one: what comes after it, or after the limit, is lost.
    void write(std::string_view bytes);

    /// Writes the pieces one after the other and a line feed.
    void line(std::initializer_list<std::string_view> pieces);

    /// Whether what is written next is not lost, as far as is known.
    bool takes_more() const { return file_ && !failed_ && written_ <= limit_; }

    /// Whether there is a file and no write has failed. Known for good once writing has ended.
    bool is_whole() const { return is_made_ && !failed_; }

    /// Whether a write has failed, and what was written or passed over is more than the whole file
    /// system holds.
    bool can_never_be_whole() const;

    /// Counts bytes that are not written, since they would be lost.
    void pass_over(std::uint64_t bytes) { written_ += bytes; }

    bool is_made() const { return is_made_; }

    /// How many bytes have got into the file.
    std::uint64_t size();

    /// Empties the file, to be written anew and without a limit.
    void restart();

    /// Ends the writing.
    void finish();

    /// The file from its beginning, for whom it is meant; as often as need be. Never what somebody
    /// else has put under the name of a file that could not be made. Without a descriptor, errno
    /// says why.
    Descriptor open_to_read() const;

    /// Ends the writing and gives the file away, to be read from its beginning.
    Descriptor take();

    const char* name() const { return name_; }

    /// Takes the file off the disk, if it is there. Safe in a signal handler.
    void remove() const noexcept;

private:
    void begin(std::uint64_t limit);
    void flush();

    char* name_;
    std::size_t buffer_size_;
    Descriptor file_;
    std::string buffer_;
    std::uint64_t limit_ = no_limit;
    std::uint64_t written_ = 0;
    bool is_made_ = true;
    bool failed_ = false;
};

/// Made by the intake, read by every forward, removed at the end of the run.
extern TemporaryFile mail_copy;

/// Made anew for every reply, removed when it has been handed over.
extern TemporaryFile reply_file;

/// Takes both off the disk, whether they are there or not. Safe in a signal handler.
void remove_temporary_files() noexcept;
