// Intake: reads the one incoming message from standard input, keeps a copy of it on disk for
// forwarding, parses it and says what it holds.
//
// Every failure is reported on standard error; nothing here ends the process.
#pragma once

#include "autoresponder/incoming/reading.h"
#include "autoresponder/run/switches.h"
#include "mimelib/mimelib.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

/// Copies standard input to a new temporary file (its name goes into mail_file_name; it stays
/// there for correct_exit to remove), reads the recipient from RESP_RECIPIENT and fills `reading`.
/// The copy is standard input and one line feed more; trouble while writing it goes unreported and
/// leaves it incomplete. Returns 0, or 1 when the message cannot be used: `reading` is then
/// untouched.
int parse_message(Reading* reading, const Policy& policy);

/// Fills the fields of `mail` that tell the recipient.
void set_recipient(std::string_view recipient, Mail_content* mail);

/// Stores the next bytes, at most `size`, in `block` and returns how many; 0 at the end.
using BlockSource = std::function<std::size_t(char* block, std::size_t size)>;
/// Is told the bytes as they come.
using BlockSink = std::function<void(std::string_view bytes)>;

/// All of `source` and one line feed more, which `copy` is told as well. Where the blocks end plays
/// no part. Memory for `expected` bytes is set aside at the start.
DwString read_message(const BlockSource& source, const BlockSink& copy, std::size_t expected = 0);

/// The part of parse_message without files and environment: what the text of a message (RFC 822 and
/// MIME) says. The text is let go as soon as it has told everything: a large one is best handed
/// over. `recipient` is null when there is none. No value when the message cannot be used, which is
/// then reported.
std::optional<Reading> read_content(DwString text, const char* recipient, const Policy& policy);

/// The value of the entity's charset parameter as written, or "US-ASCII". The parameter's name
/// matches in any case.
DwString GetCharset(const DwEntity& entity);

/// Stores in `out` the entity's body without its content transfer encoding (RFC 2045): base64 and
/// quoted-printable are decoded, everything else is handed over as it is.
void DecodeBody(const DwEntity& entity, DwString& out);

/// First valid mailbox of the list outside groups; none when there is none.
std::optional<DwMailbox> GetMailboxFromAddressList(const DwAddressList& list);

/// First valid mailbox of the list; none when there is none.
std::optional<DwMailbox> GetMailboxFromMailboxList(const DwMailboxList& list);
