// autoresponder-once MAILBOX RECIPIENT: what the mail server starts for a mail to that mailbox. It
// marks the mail on standard input with a line that names the mailbox, and becomes
// autoresponder-logged with RECIPIENT as RESP_RECIPIENT. What the program forwards keeps the mark,
// so a mail that has it has been here already and is done with: status 0. What stands behind
// MAILBOX from ".autoresponder.invalid" on is Postfix's way to here.
//
// Status 75, with the reason on standard error, when it cannot start the program: the mail server
// tries again.
#include "base/owned.h"
#include "base/text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

namespace {

constexpr char program[] = "/usr/lib/ovk/autoresponder-logged";
constexpr std::string_view field = "X-Autoresponder-Mailbox:";
constexpr std::string_view detour = ".autoresponder.invalid";
constexpr int try_again = 75;

bool is_mark(std::string_view line, std::string_view mailbox) {
    return equals_ignoring_case(line.substr(0, field.size()), field) &&
           equals_ignoring_case(trim(line.substr(field.size()), " \t\r\n"), mailbox);
}

/// Writes the mark and all of standard input to `copy`. False, with part of it written, where the
/// header has the mark already.
bool mark(std::string_view mailbox, std::FILE* copy) {
    std::fprintf(copy, "%s %s\n", field.data(), std::string(mailbox).c_str());
    char* buffer = nullptr;
    std::size_t room = 0;
    bool in_header = true;
    bool is_new = true;
    for (ssize_t size; is_new && (size = getline(&buffer, &room, stdin)) > 0;) {
        const std::string_view line(buffer, static_cast<std::size_t>(size));
        in_header = in_header && line != "\n" && line != "\r\n";
        is_new = !(in_header && is_mark(line, mailbox));
        std::fwrite(line.data(), 1, line.size(), copy);
    }
    std::free(buffer);
    return is_new;
}

} // namespace

int main(int count, char** arguments) {
    const int memory = memfd_create("mail", MFD_CLOEXEC);
    std::FILE* const copy = memory == -1 ? nullptr : fdopen(memory, "w");
    if (count == 3 && copy != nullptr) {
        const std::string_view mailbox = arguments[1];
        if (!mark(mailbox.substr(0, mailbox.rfind(detour)), copy))
            return 0;
        const bool is_whole =
            std::feof(stdin) != 0 && std::fflush(copy) == 0 && std::ferror(copy) == 0;
        if (is_whole && lseek(memory, 0, SEEK_SET) == 0 && dup2(memory, STDIN_FILENO) != -1 &&
            setenv("RESP_RECIPIENT", arguments[2], 1) == 0)
            execl(program, program, nullptr);
    }
    std::perror("autoresponder-once");
    return try_again;
}
