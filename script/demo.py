"""demo.py BUILD-FOLDER MESSAGE-FILE RECIPIENT --modern: delivers one mail to the sample panel and shows what
happened. Where the message is empty it takes a bundled one that sets everything in motion."""

import email.errors
import email.header
import pathlib
import re
import shlex
import subprocess
import sys
import time

from sandbox.database import REPOSITORY, Database, DatabaseError
from sandbox.box import Call, Sandbox

TABLES = {"resp_freq": ["rn_id", "email", "num", "time_resp"]}
BUNDLED = REPOSITORY / "sandbox/mail/enquiry.eml"
ABRIDGED_LINES = 8


class Stopwatch:
    """Says how long a step took when it took longer than a second."""

    def __init__(self) -> None:
        self.start = time.monotonic()

    def tell(self, step: str) -> None:
        seconds = time.monotonic() - self.start
        if seconds > 1:
            print(f"demo: {step} took {seconds:.1f} s")
        self.start = time.monotonic()


def heading(text: str) -> None:
    print(f"\n=== {text} {'=' * max(0, 92 - len(text))}")


def abridge(text: str) -> str:
    """The text with the middle of long runs of Base64 left out."""
    lines: list[str] = []
    run: list[str] = []
    for line in text.split("\n") + [""]:
        if re.fullmatch(r"[A-Za-z0-9+/]{60}|[A-Za-z0-9+/]+={0,2}", line) and len(line) > 40:
            run.append(line)
            continue
        if len(run) > ABRIDGED_LINES:
            run = run[:2] + [f"[demo: {len(run) - 4} lines of Base64 left out]"] + run[-2:]
        lines += run + [line]
        run = []
    return "\n".join(lines[:-1])


def visible(text: str) -> str:
    """The text without what a terminal obeys or cannot show."""
    text = re.sub(r"[\x00-\x08\x0b-\x1f\x7f-\x9f]", lambda c: f"\\x{ord(c[0]):02x}", text)
    return text.encode(errors="backslashreplace").decode()


def decode(message: bytes) -> str:
    """For the terminal: the message in the charset that its text part names."""
    found = re.search(rb'charset="?([\w-]+)', message)
    try:
        text = message.decode(found[1].decode() if found else "utf-8")
    except (LookupError, UnicodeError):
        text = message.decode(errors="backslashreplace")
    return visible(text)


def with_decoded_subject(message: str) -> str:
    """The message with what a subject of encoded words says behind it."""
    head, empty, body = message.partition("\n\n")
    found = re.search(r"^Subject:(.*(?:\n[ \t].*)*)", head, re.M | re.I)
    if found is None or "=?" not in found[1]:
        return message
    try:
        words = email.header.decode_header(re.sub(r"\n[ \t]", " ", found[1]).strip())
        subject = str(email.header.make_header(words))
    except (email.errors.HeaderParseError, LookupError, ValueError) as error:
        subject = f"not to be decoded: {error}"
    return head[:found.end()] + f"\n[demo: Subject: {visible(subject)}]" + head[found.end():] + empty + body


def show_message(title: str, message: bytes, *above: str) -> None:
    heading(title)
    for line in above:
        print(line)
    print("-" * 97)
    print(abridge(with_decoded_subject(decode(message))).rstrip("\n"))
    print("-" * 97)


def show_call(number: int, call: Call, mail: bytes) -> None:
    command = " ".join(shlex.quote(visible(arg)) for arg in call.args)
    same = call.message.strip() == mail.strip()
    show_message(f"sendmail, call {number}", b"[demo: the mail as it came]" if same else call.message, command)


def sample_attachments(box: Sandbox) -> None:
    """What the sample panel's repositories hold; "terms.pdf" is missing on purpose."""
    lines = [f"{item:<20} {price:>8.2f} EUR\n" for item, price in
             [("Chair", 49.9), ("Table", 129.0), ("Lamp", 24.5), ("Shelf", 79.0)] * 10]
    (box.attachments("sales@example.com") / "price list.txt").write_text("".join(lines))
    (box.attachments("office@example.org") / "Grußkarte.txt").write_text("Alles Gute!\n")


def check_sandbox(box: Sandbox) -> None:
    """Ends the demo, with advice, where no sandbox can be made."""
    box.wrapper = ["/bin/true"]
    trial = box.run("", None)
    box.wrapper = []
    if trial.status != 0:
        sys.exit(f"""demo: the sandbox cannot start: {trial.err.strip()}
demo: bubblewrap needs namespaces of its own, so
 - in a container: one that may make them (docker run --privileged), or the machine itself;
 - in a chroot: the machine itself, or a container in the chroot's place (systemd-nspawn -D FOLDER);
 - as a user: try as root, or let users have them
   (sysctl -w kernel.unprivileged_userns_clone=1, kernel.apparmor_restrict_unprivileged_userns=0).""")


def show_reasons(box: Sandbox, explain: str, message: bytes, recipient: str) -> None:
    """What autoresponder-explain says, before the mail is delivered."""
    heading("autoresponder-explain: what it would do, and why")
    box.extra = ["--ro-bind", explain, "/explain", "--setenv", "LC_ALL", "C.UTF-8"]
    asked = subprocess.run(box.command(None)[:-1] + ["/explain", recipient], input=message, capture_output=True)
    box.extra = []
    print(visible((asked.stdout + asked.stderr).decode(errors="replace")).rstrip("\n"))


def snapshot(database: Database) -> dict[str, list[str]]:
    return {table: sorted("  ".join(f"{name}={'NULL' if value is None else visible(value)}"
                                    for name, value in zip(columns, row))
                          for row in database.rows(
                              f"select {', '.join(columns)} from ovk.{table}"))
            for table, columns in TABLES.items()}


def show_changes(before: dict[str, list[str]], after: dict[str, list[str]]) -> None:
    heading("changes in the database")
    changed = False
    for table in TABLES:
        for sign, rows in (("-", [row for row in before[table] if row not in after[table]]),
                           ("+", [row for row in after[table] if row not in before[table]])):
            for row in rows:
                changed = True
                print(f"{sign} {table}: {row}")
    if not changed:
        print("none")


def main(build: pathlib.Path, message_file: str, recipient: str, modern: bool) -> None:
    watch = Stopwatch()
    message = sys.stdin.buffer.read() if message_file == "-" else pathlib.Path(message_file).read_bytes()
    with Database() as database:
        database.load("panel.sql", "sample.sql")
        watch.tell("starting a private MariaDB")
        box = Sandbox(str(build / "autoresponder/autoresponder"),
                      str(build / "sandbox/capture_sendmail"), database)
        try:
            check_sandbox(box)
            sample_attachments(box)
            if modern:
                with (box.etc / "ovk.conf").open("a") as configuration:
                    configuration.write("AUTORESPONDER_MODERN true\n")
            show_message(f"the mail to {recipient}", message)
            show_reasons(box, str((build / "autoresponder/autoresponder-explain").resolve()), message, recipient)
            before = snapshot(database)
            run = box.run(message, recipient)
            watch.tell("the run")
            heading(f"the program has run: exit status {run.status}")
            print("standard error: " + (visible(run.err).rstrip("\n") or "(empty)"))
            print("standard output: " + (visible(run.out).rstrip("\n") or "(empty)"))
            print("left in /tmp: " + (", ".join(run.leftovers) or "nothing"))
            for number, call in enumerate(run.calls, 1):
                show_call(number, call, message)
            if not run.calls:
                print("sendmail was not called")
            show_changes(before, snapshot(database))
        finally:
            box.close()
    watch.tell("cleaning up")


def guide() -> None:
    heading("what this run showed")
    print("""\
rule 1 answers every mail to sales@example.com: it forwarded the mail to two colleagues (call 1),
told the client of the panel that "terms.pdf" is missing (call 2), and replied with the file that is
there (call 3). Rule 2 found "заказ" in the KOI8-R subject and replied in KOI8-R (call 4). Rule 3
found "price" in the body and stayed silent: this sender has had its one answer of the day. Rule 4
is switched off.""")


if __name__ == "__main__":
    folder, message, to, modern = sys.argv[1:5]
    try:
        main(pathlib.Path(folder), message or str(BUNDLED), to or "sales@example.com", bool(modern))
    except DatabaseError as error:
        sys.exit(f"demo: {error}")
    if not message and not to:
        guide()
