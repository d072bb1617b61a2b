"""Runs the program with its real absolute paths in a root of its own, made by bubblewrap."""

import dataclasses
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile

from sandbox.database import PASSWORD, Database, DatabaseError

SANITIZER_FAILURE = 99
MAILNAMES = "/var/qmail/mailnames"


@dataclasses.dataclass
class Call:
    """One call of sendmail."""

    args: list[str]
    message: bytes
    descriptors: list[int]
    sigpipe: str


@dataclasses.dataclass
class Run:
    """What one run of the program did."""

    status: int  # exit status; -N when it was ended by signal N
    out: str
    err: str
    calls: list[Call]
    leftovers: list[str]  # files in /tmp


class Sandbox:
    """The files that the program finds. Everything lies below one folder, which close() removes."""

    def __init__(self, program: str, sendmail: str, database: Database | None) -> None:
        self.program = pathlib.Path(program).resolve()
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="ovk-box-"))
        self.capture = self.folder / "capture"
        self.tmp = self.folder / "tmp"
        self.etc = self.folder / "etc"
        self.qmail = self.folder / "qmail"
        self.empty = self.folder / "empty"
        for folder in (self.capture, self.tmp, self.etc, self.empty, self.qmail / "control",
                       self.qmail / "mailnames"):
            folder.mkdir(parents=True)
        self.sendmail: str | None = sendmail
        self.run_folder = database.run_folder if database else self.empty
        self.tmp_mount = ["--bind", str(self.tmp), "/tmp"]
        self.extra: list[str] = []  # more arguments for bubblewrap
        self.wrapper: list[str] = []  # a command that runs the program
        self.timeout = 60.0
        (self.etc / ".ovk.shadow").write_text(PASSWORD + "\n")
        (self.etc / "ovk.conf").write_text(f"# the panel\nORVEK_MAILNAMES_D {MAILNAMES}\n")

    def close(self) -> None:
        if self.folder.exists():
            subprocess.run(["chmod", "-R", "u+rwX", str(self.folder)], check=False)
        shutil.rmtree(self.folder, ignore_errors=True)

    # -- files -----------------------------------------------------------------------------------

    def attachments(self, mailbox: str) -> pathlib.Path:
        """The repository of a mailbox, given as name@domain; made if it is not there."""
        name, domain = mailbox.split("@")
        folder = self.qmail / "mailnames" / domain / name / "@attachments"
        folder.mkdir(parents=True, exist_ok=True)
        return folder

    def databytes(self, text: str) -> None:
        (self.qmail / "control" / "databytes").write_text(text)

    def behave(self, words: str) -> None:
        """Tells sendmail what to do; see capture_sendmail.c."""
        (self.capture / "behaviour").write_text(words)

    def script(self, text: str) -> None:
        """Puts a shell script in sendmail's place."""
        path = self.folder / "script"
        path.write_text("#!/bin/sh\n" + text)
        path.chmod(0o755)
        self.sendmail = str(path)

    # -- runs ------------------------------------------------------------------------------------

    def command(self, recipient: str | None) -> list[str]:
        bwrap = shutil.which("bwrap")
        if bwrap is None:
            raise DatabaseError("bwrap is missing: run script/bootstrap")
        command = [bwrap, "--die-with-parent", "--unshare-ipc", "--unshare-pid", "--unshare-net",
                   "--new-session"]
        if os.geteuid() != 0:
            command += ["--unshare-user", "--uid", "0", "--gid", "0"]
        command += ["--ro-bind", "/usr", "/usr"]
        for name in ("bin", "lib", "lib32", "lib64", "sbin"):
            path = pathlib.Path("/", name)
            if path.is_symlink():
                command += ["--symlink", os.readlink(path), str(path)]
            elif path.is_dir():
                command += ["--ro-bind", str(path), str(path)]
        command += ["--tmpfs", "/usr/sbin"]
        if self.sendmail is not None:
            command += ["--ro-bind", self.sendmail, "/usr/sbin/sendmail"]
        command += ["--ro-bind-try", "/etc/ld.so.cache", "/etc/ld.so.cache",
                    "--bind", str(self.etc), "/etc/ovk", "--bind", str(self.qmail), "/var/qmail",
                    "--bind", str(self.run_folder), "/run/mysqld",
                    "--bind", str(self.capture), "/capture", *self.tmp_mount,
                    "--ro-bind", str(self.program), "/program/autoresponder", "--dev", "/dev",
                    "--proc", "/proc", "--clearenv"]
        options = f"exitcode={SANITIZER_FAILURE}"
        environment = {"PATH": "/usr/bin:/bin", "ASAN_OPTIONS": options + ":detect_leaks=0",
                       "UBSAN_OPTIONS": options + ":print_stacktrace=1"}
        if recipient is not None:
            environment["RESP_RECIPIENT"] = recipient
        for name, value in environment.items():
            command += ["--setenv", name, value]
        return command + self.extra + ["--"] + self.wrapper + ["/program/autoresponder"]

    def start(self, recipient: str | None, stdin) -> subprocess.Popen:
        return subprocess.Popen(self.command(recipient), stdin=stdin, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE)

    def run(self, message: bytes | str, recipient: str | None) -> Run:
        """Delivers one message."""
        self.forget_calls()
        data = message.encode() if isinstance(message, str) else message
        process = self.start(recipient, subprocess.PIPE)
        try:
            out, err = process.communicate(data, timeout=self.timeout)
        except subprocess.TimeoutExpired:
            process.send_signal(signal.SIGKILL)
            process.communicate()
            raise
        # bubblewrap tells of a signal as shells do.
        status = 128 - process.returncode if process.returncode > 128 else process.returncode
        return Run(status, out.decode(errors="surrogateescape"),
                   err.decode(errors="surrogateescape"), self.calls(),
                   sorted(path.name for path in self.tmp.iterdir()))

    def run_at_once(self, messages: list[str], recipient: str) -> list[tuple[bytes, bytes, int]]:
        """Delivers messages that all come in at the same time. Output, errors and status of each run."""
        self.forget_calls()
        runs = [self.start(recipient, subprocess.PIPE) for _ in messages]
        for run, message in zip(runs, messages):
            with run.stdin:
                run.stdin.write(message.encode())
            run.stdin = None
        return [(*run.communicate(), run.returncode) for run in runs]

    def forget_calls(self) -> None:
        for old in self.capture.glob("[0-9]*"):
            old.unlink()

    def calls(self) -> list[Call]:
        """sendmail's calls so far, in order."""
        calls = []
        for number in range(1, 10000):
            mail = self.capture / f"{number}.mail"
            if not mail.exists():
                break
            process, *args, _ = mail.with_suffix(".call").read_bytes().decode(
                errors="surrogateescape").split("\0")
            sigpipe, *fds = process.split()
            calls.append(Call(args, mail.read_bytes(), [int(fd) for fd in fds], sigpipe))
        return calls
