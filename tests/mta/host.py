"""A mail host with the program: Debian's Postfix or Exim in a root of its own, unpacked, never
installed, and set up by what the documents say to paste."""

import email
import email.message
import email.policy
import fcntl
import os
import pathlib
import re
import shutil
import signal
import smtplib
import socket
import struct
import subprocess
import tempfile
import threading
import time
from collections.abc import Callable

from sandbox.database import REPOSITORY, Database


PROGRAMS_OWN = (".pwd.lock", "statoverride", "statoverride-old")  # useradd's and dpkg's, empty or a copy


class Host:
    """Started on construction. Needs to run in `isolated`: it mounts, takes ports, and leaves it to
    the end of the namespaces to stop and remove it all."""

    name: str  # as the setup has it
    before: str  # what the distribution does before it starts the server
    server: list[str]  # what runs it in the foreground
    queues: list[str]
    flush: str
    log: str
    lookup: str  # how an administrator sees what becomes of an address, which stands behind it
    not_taken: set[str]  # routes of the tests that do not lead through this server

    def __init__(self, package: str, program: str, database: Database) -> None:
        self.root = pathlib.Path(tempfile.mkdtemp())
        self.root.chmod(0o755)
        subprocess.run([REPOSITORY / "tests/mta/lay_root", self.root, package, program], check=True)
        subprocess.run(["mount", "--bind", database.run_folder, self.root / "run/mysqld"], check=True)
        self.logged: list[str] = []
        threading.Thread(target=self._log, args=[listener(self.root / "dev/log")], daemon=True).start()
        bring_loopback_up()
        self.run(self.before)
        self.process = subprocess.Popen(["chroot", self.root, *self.server], stdin=subprocess.DEVNULL)
        self.await_greeting()

    def _log(self, messages: socket.socket) -> None:
        while True:
            self.logged.append(messages.recv(65536).decode(errors="replace"))

    def run(self, script: str) -> str:
        """What a script puts out that is run as by a root shell whose locale is none."""
        return subprocess.run(["chroot", self.root, "/usr/bin/env", "-i", "PATH=/usr/sbin:/usr/bin", "LC_ALL=C",
                               "/bin/sh", "-eu"], input=script.encode(), stdout=subprocess.PIPE, check=True).stdout.decode()

    def paste(self, document: str) -> None:
        """Does what a document has for a root shell, for this server."""
        text = (REPOSITORY / document).read_text()
        for block in re.findall(r"^```sh\n(.*?)^```$", text, re.M | re.S):
            self.run(block.replace(" postfix", f" {self.name}"))

    def listing(self) -> dict[str, tuple]:
        """What an administrator may have and a server writes at no time: each file's owner, mode, access lists
        and contents."""
        found = {}
        for top in ("etc", "usr", "var/lib", "var/qmail"):
            for folder, folders, names in os.walk(self.root / top):
                for path in (pathlib.Path(folder) / name for name in folders + names):
                    if path.name[-1] == "-" or path.name in PROGRAMS_OWN or path.is_symlink():
                        continue
                    status = path.lstat()
                    lists = {name: os.getxattr(path, name) for name in os.listxattr(path)}
                    found[str(path.relative_to(self.root))] = (
                        status.st_uid, status.st_gid, status.st_mode, lists,
                        path.read_bytes() if path.is_file() and top != "usr" else b"")
        return found

    def takes(self, address: str) -> bool:
        """Whether mail to it goes to the program, by the server's own word."""
        told = subprocess.run(["chroot", self.root, "/bin/sh", "-c", self.lookup, "sh", address],
                              capture_output=True, text=True).stdout
        return "autoresponder" in told

    def await_greeting(self) -> None:
        end = time.monotonic() + 30
        while self.process.poll() is None and time.monotonic() < end:
            try:
                smtplib.SMTP("127.0.0.1").quit()
                return
            except OSError:
                time.sleep(0.05)
        raise RuntimeError("the mail server does not start:\n" + self.said())

    def begin(self, configuration: str) -> None:
        """Anew, with this panel configuration, no mail, and empty logs."""
        (self.root / "etc/ovk/ovk.conf").write_text(configuration)
        for folder in ("var/mail", "tmp"):
            for path in (self.root / folder).iterdir():
                shutil.rmtree(path) if path.is_dir() else path.unlink()
        os.truncate(self.root / self.log, 0)
        self.logged.clear()

    def said(self) -> str:
        """What the mail server and, in the system log, the program said."""
        log = self.root / self.log
        return "".join(f"{line}\n" for line in self.logged) + (log.read_text() if log.exists() else "")

    def send(self, envelope_sender: str, recipient: str, message: bytes) -> None:
        options = ["BODY=8BITMIME"] + ([] if recipient.isascii() else ["SMTPUTF8"])
        with smtplib.SMTP("127.0.0.1") as smtp:
            smtp.sendmail(envelope_sender, recipient, message.replace(b"\n", b"\r\n"), options)

    def outage(self, database: Database, arrive: Callable[[], int]) -> None:
        """Has mails arrive while the program cannot reach the database, waits until it has failed for
        all of them, as many as `arrive` says, and puts things right."""
        raise NotImplementedError

    def await_failures(self, count: int) -> None:
        end, again = time.monotonic() + 60, time.monotonic() + 5
        while (failed := sum("exit status 75 for " in line for line in self.logged)) < count:
            now = time.monotonic()
            if now > end:
                raise RuntimeError("not all have failed:\n" + self.said())
            if failed == 0 and now > again:
                self.run(self.flush)
                again = now + 5
            time.sleep(0.05)

    def settle(self, waiting: str = "") -> None:
        """Waits until nothing is under way: all queues empty, thrice, for a mail that is looked for
        in one of them may just have led to another in one that was empty. What is in a queue `waiting`
        may stay."""
        end, again = time.monotonic() + 60, time.monotonic() + 5
        empty = 0
        while empty < 3:
            now = time.monotonic()
            if now > end:
                raise RuntimeError("mail is stuck in the queue:\n" + self.said())
            if not waiting and now > again:  # what has just been reloaded may not have heard it
                self.run(self.flush)
                again = now + 5
            time.sleep(0.05)
            queued = any(path.is_file() for name in self.queues if name != waiting
                         for path in (self.root / name).rglob("*"))
            empty = 0 if queued else empty + 1

    def mailbox(self, name: str) -> list[bytes]:
        """The mails of a Maildir, oldest first."""
        paths = (self.root / "var/mail" / name / "new").glob("*")
        return [path.read_bytes() for path in sorted(paths, key=lambda path: path.stat().st_mtime_ns)]

    def replies(self, name: str) -> list[email.message.EmailMessage]:
        return [email.message_from_bytes(data, policy=email.policy.default)
                for data in self.mailbox(name)]


class Postfix(Host):
    # Debian 12 does this where it starts the service, 13 in a script of Postfix's own.
    before = """cd /usr/lib/postfix
        grep -q configure-instance sbin/post-install || ./configure-instance.sh"""
    server = ["/usr/sbin/postfix", "start-fg"]
    queues = [f"var/spool/postfix/{name}" for name in ("maildrop", "incoming", "active", "deferred")]
    flush = "postfix reload\npostqueue -f"  # who could not reach the database does not try for a minute
    log = "var/log/mail.log"
    name = "postfix"
    lookup = "postmap -q \"$1\" proxy:mysql:/etc/postfix/autoresponders.cf"
    not_taken = {"colon"}  # the alias maps ask for such a name in quotes

    def outage(self, database: Database, arrive: Callable[[], int]) -> None:
        # It looks every recipient up in the database itself, so the mails have to be there before.
        self.run("postconf -e defer_transports=autoresponder\npostfix reload")
        count = arrive()
        self.settle("var/spool/postfix/deferred")
        database.stop()
        self.run("postconf -X defer_transports\n" + self.flush)
        self.await_failures(count)
        database.start()
        self.run(self.flush)


class Exim(Host):
    before = "update-exim4.conf"
    server = ["/usr/sbin/exim4", "-bdf"]
    queues = ["var/spool/exim4/input"]
    flush = "exim4 -qff"
    log = "var/log/exim4/mainlog"
    name = "exim"
    lookup = "exim4 -bt \"$1\""
    not_taken = {"idn", "plus"}  # no addresses in UTF-8, and none with an extension

    def outage(self, _: Database, arrive: Callable[[], int]) -> None:
        # Without its own lookups no mail would come as far as the program, so that alone is shut out.
        password = "/etc/ovk/.ovk.shadow"
        self.run(f"mv {password} {password}.away")
        self.await_failures(arrive())
        self.run(f"mv {password}.away {password}\n{self.flush}")


def listener(path: pathlib.Path) -> socket.socket:
    messages = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
    messages.bind(str(path))
    path.chmod(0o666)
    return messages


def bring_loopback_up() -> None:
    SIOCSIFFLAGS, IFF_UP = 0x8914, 1
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
        fcntl.ioctl(any_socket, SIOCSIFFLAGS, struct.pack("16sh22x", b"lo", IFF_UP))
