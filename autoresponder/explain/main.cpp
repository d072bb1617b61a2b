// autoresponder-explain: what the autoresponder would do with a mail, and why. Sends nothing,
// counts nothing, changes nothing.
#include "autoresponder/explain/explanation.h"
#include "autoresponder/explain/writers.h"
#include "autoresponder/incoming/intake.h"
#include "autoresponder/run/ending.h"
#include "autoresponder/run/panel_query.h"
#include "autoresponder/run/process.h"
#include "base/io.h"
#include "base/report.h"
#include "lib/autoprepend.h"
#include "lib/product_log.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <getopt.h>
#include <grp.h>
#include <new>
#include <pwd.h>
#include <unistd.h>

namespace {

constexpr int answered = 0;
constexpr int not_answered = 1;
constexpr int cannot_be_told = 2;

struct Options {
    /// Whose reply is to be written instead.
    std::optional<std::string> reply_of;
    bool json = false;
    /// As whom to look; null for whoever runs the program.
    const char* user = nullptr;
    std::string recipient;
    /// Empty for standard input.
    std::string mail;
};

std::optional<Options> parse_options(int argc, char** argv) {
    static constexpr option known[] = {{"reply", required_argument, nullptr, 'r'},
                                       {"json", no_argument, nullptr, 'j'},
                                       {"user", required_argument, nullptr, 'u'},
                                       {nullptr, 0, nullptr, 0}};
    Options options;
    int found = 0;
    while ((found = getopt_long(argc, argv, "", known, nullptr)) != -1) {
        if (found == 'r')
            options.reply_of = optarg;
        else if (found == 'j')
            options.json = true;
        else if (found == 'u')
            options.user = optarg;
        else
            return std::nullopt;
    }
    const int left = argc - optind;
    if (left < 1 || left > 2)
        return std::nullopt;
    options.recipient = argv[optind];
    options.mail = left == 2 ? argv[optind + 1] : "";
    return options;
}

/// Says so when that fails.
bool become(const char* name) {
    errno = 0; // a name that is not known leaves it so
    const passwd* const user = getpwnam(name);
    if (user != nullptr && initgroups(name, user->pw_gid) == 0 && setgid(user->pw_gid) == 0 &&
        setuid(user->pw_uid) == 0)
        return true;
    report({"autoresponder-explain: cannot become ", name, ": ",
            user == nullptr && errno == 0 ? "no such user" : std::strerror(errno)});
    return false;
}

/// Throws away nothing of what was read when reading fails: half a mail would be explained as one.
std::optional<DwString> read_file(int file) {
    bool failed = false;
    DwString text = read_message(
        [&](char* block, std::size_t size) {
            const ssize_t count = read_some(file, block, size);
            failed = count < 0;
            return count > 0 ? static_cast<std::size_t>(count) : 0;
        },
        [](std::string_view) {});
    if (failed)
        return std::nullopt;
    return text;
}

/// False when the mail cannot be read. It is opened before the process becomes the user who looks.
bool read_mail_of(const Options& options, std::optional<DwString>& mail) {
    const Descriptor file(options.mail.empty()
                              ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3)
                              : open(options.mail.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    const int pending = errno;
    if (options.user != nullptr && !become(options.user))
        return false;
    if (options.mail.empty() && isatty(STDIN_FILENO) == 1)
        return true;
    errno = pending;
    if (file)
        mail = read_file(file.get());
    if (!mail) {
        report_system_error({"autoresponder-explain: ",
                             options.mail.empty() ? "standard input" : options.mail, ": "});
        return false;
    }
    // Standard input that holds nothing is no mail; there is always the line feed behind it.
    if (options.mail.empty() && mail->size() == 1)
        mail.reset();
    return true;
}

/// Says so when that fails.
bool print(std::string_view text) {
    const bool printed = write_fully(STDOUT_FILENO, text);
    if (!printed)
        report_system_error({"autoresponder-explain: standard output: "});
    return printed;
}

/// The reply that has been kept.
int print_reply(const Explanation& told) {
    const Descriptor& reply = told.run.kept_reply;
    if (!reply) {
        report({"autoresponder-explain: no reply: ", !told.has_mail ? "there is no mail"
                                                     : told.no_reply.empty()
                                                         ? "the mailbox has no such rule"
                                                         : told.no_reply});
        return cannot_be_told;
    }
    std::vector<char> block(65536);
    while (const std::size_t count = read_fully(reply.get(), block.data(), block.size())) {
        if (!print({block.data(), count}))
            return cannot_be_told;
    }
    for (const RuleNotes& rule : told.rules) {
        if (rule.row.id == told.run.kept_rule && rule.facts.outcome == Outcome::answered)
            return answered;
    }
    report({"autoresponder-explain: this reply is not sent"});
    return not_answered;
}

int explain_to_standard_output(const Options& options) {
    std::optional<DwString> mail;
    if (!read_mail_of(options, mail))
        return cannot_be_told;
    autoprepend_once(); // the page tells how that went
    Run run(configured_policy());
    run.kept_rule = options.reply_of.value_or("");
    const Explanation told = explain(options.recipient, mail, run);
    if (options.reply_of)
        return print_reply(told);
    if (!print(options.json ? as_json(told) : as_text(told)))
        return cannot_be_told;
    return told.no_reply.empty() ? answered : not_answered;
}

} // namespace

int main(int argc, char** argv) {
    prepare_process();
    set_statuses({cannot_be_told, cannot_be_told, cannot_be_told});
    PROGNAME = argv[0];
    const std::optional<Options> options = parse_options(argc, argv);
    if (!options) {
        report({"usage: autoresponder-explain [--reply RULE] [--json] [--user NAME] RECIPIENT"
                " [MAIL]"});
        return cannot_be_told;
    }
    try {
        return explain_to_standard_output(*options);
    } catch (const QueryFailure&) {
        end_on_exception();
    } catch (const std::bad_alloc&) {
        report({"autoresponder-explain: there is not enough memory"});
        return cannot_be_told;
    } catch (const std::exception& failure) {
        report({"autoresponder-explain: ", failure.what()});
        return cannot_be_told;
    }
}
