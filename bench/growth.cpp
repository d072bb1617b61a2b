// growth [DIMENSION BYTES [shown]]: reads a message that is large in one dimension, with "shown" as
// AUTORESPONDER_READ_AS_SHOWN has it, and prints the CPU time in seconds, the peak memory in bytes
// and the size of the message. Without arguments it lists the dimensions. Only the reading is
// measured; all diagnostics are thrown away.

#include "autoresponder/incoming/intake.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <sys/wait.h>
#include <unistd.h>

namespace {

#define SENDER "From: joe@example.org\n"
#define TEXT SENDER "Content-Type: text/plain; charset=utf-8\n"
#define MULTIPART SENDER "Content-Type: multipart/mixed; boundary=b\n\n"

#define HTML SENDER "Content-Type: text/html"
#define ALTERNATIVE "Content-Type: multipart/alternative; boundary=b\n"

/// The message is head, as many units as fit, tail. "Ordinary" mail has a goal in speed.
constexpr struct Dimension {
    const char *name, *head, *unit, *tail;
} dimensions[] = {
    {"ordinary text", TEXT "\n", "Dear reader, this is a line of an ordinary mail of today.\n", ""},
    {"ordinary text in koi8-r", SENDER "Content-Type: text/plain; charset=koi8-r\n\n",
     "\xF0\xD2\xC9\xD7\xC5\xD4, \xCD\xC9\xD2. Lorem ipsum dolor sit amet, consectetur.\n", ""},
    {"ordinary quoted-printable", TEXT "Content-Transfer-Encoding: quoted-printable\n\n",
     "Sch=C3=B6ne Gr=C3=BC=C3=9Fe from a line of ordinary text, wrapped for trans=\nport.\n", ""},
    {"ordinary base64", TEXT "Content-Transfer-Encoding: base64\n\n",
     "RGVhciByZWFkZXIsIHRoaXMgaXMgYSBsaW5lIG9mIGFuIG9yZGluYXJ5IG1haWwgb2Yg\n", ""},
    {"ordinary attachment",
     MULTIPART "--b\nContent-Type: text/plain\n\nSee below.\n--b\n"
               "Content-Type: application/pdf\nContent-Transfer-Encoding: base64\n\n",
     "RGVhciByZWFkZXIsIHRoaXMgaXMgYSBsaW5lIG9mIGFuIG9yZGluYXJ5IG1haWwgb2Yg\n", "--b--\n"},
    {"fields", "", "X-Header: value\n", SENDER "\nx"},
    {"one long field", "X: ", "x", "\n" SENDER "\nx"},
    {"continuation lines", "Subject: s", "\n x", "\n" SENDER "\nx"},
    {"blank continuation lines", "Subject: s", "\n ", "\n" SENDER "\nx"},
    {"field names without a colon", SENDER, "x", ""},
    {"parts", MULTIPART, "--b\n\nx\n", ""},
    {"empty parts", MULTIPART, "--b\n", ""},
    {"nesting", MULTIPART, "--b\nContent-Type: multipart/mixed; boundary=b\n\n", ""},
    {"almost delimiters", MULTIPART "--b\n", "--b-\n", ""},
    {"long boundary", SENDER "Content-Type: multipart/mixed; boundary=", "b", "\n\n--bbb\n"},
    {"parameters", SENDER "Content-Type: text/plain", ";a=b", "\n\nx"},
    {"unterminated parameter", SENDER "Content-Type: text/plain; charset=\"", "\\\"", "\n\nx"},
    {"addresses", SENDER "Reply-To: ", "joe, ", "\n\nx"},
    {"angle brackets", SENDER "Reply-To: ", "<", "\n\nx"},
    {"groups", SENDER "Reply-To: ", "a:;", "\n\nx"},
    {"unterminated groups", SENDER "Reply-To: ", "a:", "\n\nx"},
    {"source route", SENDER "Reply-To: <", "@a,", "\n\nx"},
    {"dots in an address", SENDER "Reply-To: ", "a.", "@b\n\nx"},
    {"comment depth", SENDER "Reply-To: ", "(", "\n\nx"},
    {"comments", SENDER "Reply-To: ", "(a)", " joe@example.net\n\nx"},
    {"unterminated quoted string", SENDER "Reply-To: \"", "\\\"", "\n\nx"},
    {"unterminated literal", SENDER "Reply-To: a@[", "1", "\n\nx"},
    {"unterminated encoded words", SENDER "Reply-To: ", "=?a?b?c,", "\n\nx"},
    {"encoded words in a subject", SENDER "Subject: ", "=?utf-8?Q?=C3=A9?= ", "x\n\nx"},
    {"encoded words in koi8-r", SENDER "Subject: ", "=?koi8-r?B?8A==?= ", "x\n\nx"},
    {"one encoded word", SENDER "Subject: =?utf-8?B?", "QUJD", "?=\n\nx"},
    {"base64 rubbish in a subject", SENDER "Subject: =?utf-8?B?", "!", "?=\n\nx"},
    {"unterminated words in a subject", SENDER "Subject: ", "=?x ", "x\n\nx"},
    {"lines", TEXT "\n", "x\n", ""},
    {"bare line feeds", TEXT "\n", "\n", ""},
    {"base64 rubbish", TEXT "Content-Transfer-Encoding: base64\n\n", "!*-_\x80", ""},
    {"equals signs", TEXT "Content-Transfer-Encoding: quoted-printable\n\n", "=", ""},
    {"blanks behind equals signs", TEXT "Content-Transfer-Encoding: quoted-printable\n\n= ", " ",
     "x"},
    {"bytes that are no character", TEXT "\n", "\xFF", ""},
    {"bytes above 127 without a charset", SENDER "\n", "\xE9", ""},
    {"shift sequences", SENDER "Content-Type: text/plain; charset=iso-2022-jp\n\n", "\x1B$B\x1B(B",
     ""},
    {"ordinary html", HTML "\n",
     "<p class=\"text\">Dear reader, this is a <b>line</b> of an ordinary mail &amp; more.</p>\n",
     ""},
    {"tags", HTML "\n", "<b>", ""},
    {"end tags",
     HTML "\n<td>"
          "<b><i>",
     "</u></b>", ""},
    {"tables in tables", HTML "\n", "<table><tr><td>", ""},
    {"tags that nest wrongly", HTML "\n", "<b><div></b><p>", ""},
    {"attributes", HTML "\n<b ", "a=b ", ">x"},
    {"unterminated attributes", HTML "\n", "<b a='", ""},
    {"styles", HTML "\n<b style='", "display:x;", "'>x"},
    {"html comments", HTML "\n", "<!-- -", ""},
    {"scripts", HTML "\n", "<script>x</scrip", ""},
    {"character references", HTML "\n", "&thetasym", ""},
    {"numbers without an end", HTML "\n&#", "1", ""},
    {"characters that grow", HTML "\n", "\xF0\x9D\x85\xA0", ""},
    {"windows-1252", HTML "; charset=latin1\n\n", "\x80", ""},
    {"a charset that grows", SENDER "Content-Type: text/plain; charset=tscii\n\n", "\x82", ""},
    {"a subject in windows-1252", SENDER "Subject: ", "\x80", "\n\nx"},
    {"marks on marks", TEXT "\na", "\xCC\x81\xCC\xA3", ""},
    {"quotation", TEXT "\n", "> ", ""},
    {"quoted lines", TEXT "\n", ">\n\n", ""},
    {"alternatives", SENDER ALTERNATIVE "\n",
     "--b\n" ALTERNATIVE "\n--b\nContent-Type: text/html\n\n<br>\n", ""},
    {"parts that give no text", MULTIPART, "--b\nContent-Type: text/html\n\n<br>\n", ""},
    {"charsets in a subject", SENDER "Subject: ", "=?koi8-r?Q?=F0?= =?big5?Q?=A4=40?= ", "x\n\nx"},
    {"senders in brackets", "From: (", "<joe@", "\n\nx"},
};

std::string make(const Dimension& dimension, std::size_t size) {
    std::string text;
    text.reserve(size + 200);
    text = dimension.head;
    for (const std::string unit = dimension.unit; text.size() < size;)
        text += unit;
    return text += dimension.tail;
}

double cpu_seconds() {
    timespec time;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

struct Figures {
    double seconds;
    unsigned long peak_bytes;
};

unsigned long peak_bytes() {
    unsigned long peak = 0;
    char line[200];
    std::FILE* file = std::fopen("/proc/self/status", "r");
    while (file != nullptr && std::fgets(line, sizeof line, file) != nullptr)
        std::sscanf(line, "VmHWM: %lu", &peak);
    if (file != nullptr)
        std::fclose(file);
    return peak * 1024;
}

/// One reading in a child, which starts with the message in memory and nothing else, as the program
/// does.
Figures read_once(std::string& text, const Policy& policy) {
    int ends[2];
    Figures figures{};
    if (pipe(ends) != 0)
        std::abort();
    const pid_t child = fork();
    if (child == 0) {
        const double before = cpu_seconds();
        read_content(DwString(std::move(text)), "box@example.com", policy);
        figures = {cpu_seconds() - before, peak_bytes()};
        _exit(write(ends[1], &figures, sizeof figures) != sizeof figures);
    }
    close(ends[1]);
    if (read(ends[0], &figures, sizeof figures) != sizeof figures)
        std::abort();
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return figures;
}

/// The fastest of 2 to 50 readings, until they took half a second.
Figures measure(std::string& text, const Policy& policy) {
    Figures best = read_once(text, policy);
    double spent = best.seconds;
    for (int reading = 1; reading < 2 || (reading < 50 && spent < 0.5); ++reading) {
        const Figures figures = read_once(text, policy);
        spent += figures.seconds;
        if (figures.seconds < best.seconds)
            best = figures;
    }
    return best;
}

} // namespace

int main(int argc, char** argv) {
    if (std::freopen("/dev/null", "w", stderr) == nullptr)
        return 1;
    const std::size_t size = argc >= 3 ? std::strtoul(argv[2], nullptr, 10) : 0;
    Policy policy;
    policy.read_as_shown = argc == 4 && std::string_view(argv[3]) == "shown";
    policy.ignore_case = policy.read_as_shown;
    for (const Dimension& dimension : dimensions) {
        if (argc < 3) {
            std::puts(dimension.name);
        } else if (std::string_view(dimension.name) == argv[1]) {
            std::string text = make(dimension, size);
            const Figures best = measure(text, policy);
            std::printf("%.9f %lu %zu\n", best.seconds, best.peak_bytes, text.size());
        }
    }
    return 0;
}
