// The files of a mailbox's attachment repository. Their names come from the database and are read
// as root, so a name is followed only as far as the repository reaches. `directory` is the full
// path of the repository; its last two components, where the mailbox's owner may write, are no
// links but such as root made.
#pragma once

#include "autoresponder/run/temporary_file.h"
#include "base/owned.h"

#include <mysql.h>
#include <string>
#include <string_view>
#include <vector>

/// Whether `directory`/`name` exists, of whatever kind, without leading out of `directory`: what a
/// name reaches by ".." or by links counts as missing when it lies elsewhere.
bool attachment_exists(const std::string& directory, const std::string& name);

/// Opens `directory`/`name` for reading, confined in the same way. Never waits: what is neither a
/// file nor a directory is not opened, nor is a file with further links that another than the
/// repository's owner owns. Without a descriptor, errno says why.
Descriptor open_attachment(const std::string& directory, const std::string& name);

/// open(2) of `path` below `directory`, a component at a time, none of which is a link; with O_PATH
/// the last may be one, which is then what is open. Without a descriptor, errno says why.
Descriptor open_without_links(Descriptor directory, std::string_view path, int flags);

/// The attachments of a rule.
struct AttachmentNames {
    /// Existing files, in the order of the database.
    std::vector<std::string> found;
    /// Names of the files that do not exist, a line feed behind each.
    std::string missing;
};

/// Asks for them and looks for the files in `directory`. A failed query ends the process through
/// give_up.
AttachmentNames find_attachments(MYSQL* connection, const std::string& rule_id,
                                 const std::string& directory);

/// Writes `file` in Base64, a line for every 45 bytes, until `message` takes no more. A file that
/// keeps growing ends where it ended at first.
void write_encoded(int file, TemporaryFile& message);
