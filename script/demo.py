"""demo.py BUILD-FOLDER MESSAGE-FILE RECIPIENT: delivers one mail to the sample panel and shows what
happened. Without a message it takes a bundled one that sets everything in motion."""

import pathlib
import re
import shlex
import sys
import time

from support.database import REPOSITORY, Database, DatabaseError
from support.sandbox import Call, Sandbox

TABLES = {"resp_freq": ["rn_id", "email", "num", "time_resp"]}
BUNDLED = REPOSITORY / "tests/support/mail/enquiry.eml"
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


def show_call(number: int, call: Call) -> None:
    heading(f"sendmail, call {number}")
    print(" ".join(shlex.quote(visible(arg)) for arg in call.args))
    print("-" * 97)
    print(abridge(decode(call.message)), end="")
    print("-" * 97)


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


def what_became(rule: str, statements: list[str]) -> str:
    """What the run did with a rule that is on, by what it asked the database."""
    def asked(table: str) -> bool:
        return any(re.search(rf"\b{table}\b.*\brn_id ?= ?'?{rule}\b", statement)
                   for statement in statements)

    if asked("resp_attach"):
        return "answered"
    if asked("resp_forward"):
        return "matches; forwarded, not answered"
    if asked("resp_freq"):
        return "matches; not answered: this sender has had the answers of the day"
    return "its trigger is not in the mail"


def show_rules(database: Database, statements: list[str]) -> None:
    heading("the rules of the mailbox")
    mailbox = [found[1] for found in (re.search(r"\bmail_resp\b.*\bmn_id ?= ?'?(\d+)", statement)
                                      for statement in statements) if found]
    if not mailbox:
        print("none was looked at: there is no such mailbox, or its mail is not answered"
              " (standard error, above, says which)")
        return
    rules = database.rows("select id, resp_on, key_where, keystr, ans_freq from ovk.mail_resp"
                          f" where mn_id = {mailbox[0]} order by id")
    for rule, on, where, trigger, limit in rules:
        places = {"subj": "the subject", "body": "the body"}
        want = f'"{visible(trigger or "")}" in {places[where]}' if where in places else "every mail"
        print(f"rule {rule} ({want}; at most {limit or 'the default number of'} answers a day to a sender): "
              + (what_became(str(rule), statements) if on == "true" else "switched off"))
    if not rules:
        print("there are none")


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


def main(build: pathlib.Path, message_file: pathlib.Path, recipient: str) -> None:
    watch = Stopwatch()
    with Database() as database:
        database.load("panel.sql", "sample.sql")
        watch.tell("starting a private MariaDB")
        box = Sandbox(str(build / "autoresponder/autoresponder"),
                      str(build / "tests/support/capture_sendmail"), database)
        try:
            check_sandbox(box)
            sample_attachments(box)
            before = snapshot(database)
            database.listen()
            run = box.run(message_file.read_bytes(), recipient)
            watch.tell("the run")
            statements = database.heard()
            heading(f"{message_file.name} to {recipient}: exit status {run.status}")
            print("standard error: " + (visible(run.err).rstrip("\n") or "(empty)"))
            print("standard output: " + (visible(run.out).rstrip("\n") or "(empty)"))
            print("left in /tmp: " + (", ".join(run.leftovers) or "nothing"))
            for number, call in enumerate(run.calls, 1):
                show_call(number, call)
            if not run.calls:
                print("sendmail was not called")
            show_rules(database, statements)
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
    folder, message, to = sys.argv[1:4]
    try:
        main(pathlib.Path(folder), pathlib.Path(message) if message else BUNDLED,
             to or "sales@example.com")
    except DatabaseError as error:
        sys.exit(f"demo: {error}")
    if not message and not to:
        guide()
