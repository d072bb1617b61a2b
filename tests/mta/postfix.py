"""Debian's Postfix with the program behind it, in a root of its own: unpacked, never installed."""

import email
import email.message
import email.policy
import fcntl
import os
import pathlib
import shutil
import smtplib
import socket
import struct
import subprocess
import tempfile
import time

from support.database import PASSWORD, REPOSITORY, Database


class Postfix:
    """Started on construction, with what the README says about it. Needs to run in `isolated`: it
    mounts, takes ports, and leaves it to the end of the namespaces to stop and remove it all."""

    def __init__(self, package: str, program: str, database: Database) -> None:
        self.root = pathlib.Path(tempfile.mkdtemp())
        self.root.chmod(0o755)
        self.log = self.root / "var/log/mail.log"
        subprocess.run([REPOSITORY / "tests/mta/lay_root", self.root, package, program], check=True)
        subprocess.run(["mount", "--bind", database.run_folder, self.root / "run/mysqld"], check=True)
        (self.root / "etc/ovk/.ovk.shadow").write_text(PASSWORD + "\n")
        bring_loopback_up()
        self.server = subprocess.Popen(["chroot", self.root, "/usr/sbin/postfix", "start-fg"],
                                       stdin=subprocess.DEVNULL)
        self._await_greeting()

    def _await_greeting(self) -> None:
        end = time.monotonic() + 30
        while self.server.poll() is None and time.monotonic() < end:
            try:
                smtplib.SMTP("127.0.0.1").quit()
                return
            except OSError:
                time.sleep(0.05)
        raise RuntimeError("Postfix does not start:\n" + self.said())

    def begin(self, configuration: str) -> None:
        """Anew, with this panel configuration, no mail and an empty log."""
        (self.root / "etc/ovk/ovk.conf").write_text(configuration)
        for path in (self.root / "var/mail").iterdir():
            shutil.rmtree(path)
        os.truncate(self.log, 0)

    def said(self) -> str:
        return self.log.read_text() if self.log.exists() else "(nothing)"

    def send(self, envelope_sender: str, recipient: str, message: bytes) -> None:
        options = ["BODY=8BITMIME"] + ([] if recipient.isascii() else ["SMTPUTF8"])
        with smtplib.SMTP("127.0.0.1") as smtp:
            smtp.sendmail(envelope_sender, recipient, message, options)

    def settle(self) -> None:
        """Waits until nothing is under way: all queues empty, twice, for a mail that is looked for
        in one of them may just have led to another in one that was empty."""
        end = time.monotonic() + 60
        empty = 0
        while empty < 2:
            if time.monotonic() > end:
                raise RuntimeError("mail is stuck in the queue:\n" + self.said())
            time.sleep(0.05)
            queued = any(path.is_file() for name in ("maildrop", "incoming", "active", "deferred")
                         for path in (self.root / "var/spool/postfix" / name).rglob("*"))
            empty = 0 if queued else empty + 1

    def mailbox(self, name: str) -> list[bytes]:
        """The mails of a Maildir, oldest first."""
        paths = (self.root / "var/mail" / name / "new").glob("*")
        return [path.read_bytes() for path in sorted(paths, key=lambda path: path.stat().st_mtime_ns)]

    def replies(self, name: str) -> list[email.message.EmailMessage]:
        return [email.message_from_bytes(data, policy=email.policy.default)
                for data in self.mailbox(name)]


def bring_loopback_up() -> None:
    SIOCSIFFLAGS, IFF_UP = 0x8914, 1
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
        fcntl.ioctl(any_socket, SIOCSIFFLAGS, struct.pack("16sh22x", b"lo", IFF_UP))
