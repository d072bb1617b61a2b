"""Debian's Postfix with the program behind it, in a root of its own: unpacked, never installed."""

import email
import email.message
import email.policy
import fcntl
import os
import pathlib
import re
import shutil
import smtplib
import socket
import struct
import subprocess
import tempfile
import time

from support.database import PASSWORD, REPOSITORY, Database

SETTINGS = REPOSITORY / "tests/mta/etc"
README_BLOCK = re.compile(r"^    # (/etc/postfix/[a-z.]+).*\n((?:    .*\n)+)", re.MULTILINE)


class Postfix:
    """Started on construction, with what the README says about it. Needs to run in `isolated`: it
    mounts, takes ports, and leaves it to the end of the namespaces to stop and remove it all."""

    def __init__(self, package: str, program: str, database: Database) -> None:
        self.root = pathlib.Path(tempfile.mkdtemp())
        self.root.chmod(0o755)
        self.log = self.root / "var/log/mail.log"
        self._lay_system(pathlib.Path(package))
        self._lay_settings()
        self._install(program)
        self._mount(database.run_folder, "run/mysqld", "--bind")
        bring_loopback_up()
        self.server = subprocess.Popen(["chroot", self.root, "/usr/sbin/postfix", "start-fg"],
                                       stdin=subprocess.DEVNULL)
        self._await_greeting()

    # -- its root --------------------------------------------------------------------------------

    def _mount(self, source: str | pathlib.Path, target: str, *options: str) -> None:
        path = self.root / target
        if pathlib.Path(source).is_file() or str(source).startswith("/dev/"):
            path.parent.mkdir(parents=True, exist_ok=True)
            path.touch()
        else:
            path.mkdir(parents=True)
        subprocess.run(["mount", *options, source, path], check=True)

    def _lay_system(self, package: pathlib.Path) -> None:
        """The host's /usr, read-only, with the package's files in their places between."""
        self._mount("/usr", "host", "--bind", "-o", "ro")
        shutil.copytree(package / "usr/sbin", self.root / "usr/sbin", symlinks=True)
        shutil.copytree(package / "usr/lib", self.root / "usr/lib", symlinks=True)
        for folder in ("", "lib"):
            for path in pathlib.Path("/usr", folder).iterdir():
                link = self.root / "usr" / folder / path.name
                if not link.exists():
                    link.symlink_to(pathlib.Path("/host", folder, path.name))
        for name in ("bin", "sbin", "lib", "lib64"):
            (self.root / name).symlink_to(f"usr/{name}")
        for folder in ("tmp", "var/log", "var/spool/postfix", "var/lib/postfix", "var/mail"):
            (self.root / folder).mkdir(parents=True)
        (self.root / "tmp").chmod(0o1777)
        os.chown(self.root / "var/lib/postfix", 101, 0)
        os.chown(self.root / "var/mail", 104, 104)
        for device in ("null", "random", "urandom"):
            self._mount(f"/dev/{device}", f"dev/{device}", "--bind")
        self._mount("proc", "proc", "-t", "proc")
        for name in ("postdrop", "postqueue"):  # as the package's installation does
            os.chown(self.root / "usr/sbin" / name, 0, 102)
            (self.root / "usr/sbin" / name).chmod(0o2755)
        shutil.copytree(package / "etc/postfix", self.root / "etc/postfix")

    def _lay_settings(self) -> None:
        shutil.copytree(SETTINGS, self.root / "etc", dirs_exist_ok=True)
        shutil.copy("/etc/ld.so.cache", self.root / "etc")
        blocks = README_BLOCK.findall((REPOSITORY / "README.md").read_text())
        assert len(blocks) == 4, "the README's settings for Postfix are not where they were"
        for path, text in blocks:
            with open(self.root / path[1:], "a") as file:
                file.write(re.sub("^    ", "", text, flags=re.MULTILINE))

    def _install(self, program: str) -> None:
        """As the README says: set-uid root, and for the group of the pipe's user alone."""
        target = self.root / "usr/lib/ovk/autoresponder"
        target.parent.mkdir()
        shutil.copy(program, target)
        os.chown(target, 0, 103)
        target.chmod(0o4750)
        (self.root / "etc/ovk").mkdir(mode=0o700)
        (self.root / "etc/ovk/.ovk.shadow").write_text(PASSWORD + "\n")

    def attachments(self, domain: str, mailbox: str) -> pathlib.Path:
        """The repository of a mailbox, for root alone to read."""
        folder = self.root / "var/qmail/mailnames" / domain / mailbox / "@attachments"
        folder.mkdir(mode=0o700, parents=True, exist_ok=True)
        return folder

    # -- its mails -------------------------------------------------------------------------------

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
