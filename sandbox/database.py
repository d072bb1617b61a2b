"""A private MariaDB server: its data in a temporary folder, reached by a socket alone."""

import contextlib
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time

REPOSITORY = pathlib.Path(__file__).resolve().parents[1]
PASSWORD = "correct horse"
NO_SYNC = "--debug-no-sync"  # nothing outlives the host: waiting for the disk took half the time
SEPARATOR = "\x1e-- end --\x1e"


class DatabaseError(Exception):
    pass


def _find(program: str) -> str:
    found = shutil.which(program, path=os.environ.get("PATH", "") + ":/usr/sbin:/usr/bin")
    if found is None:
        raise DatabaseError(f"{program} is missing: run script/bootstrap")
    return found


def _die_with_parent() -> None:
    """The server must not outlive a test that was killed."""
    import ctypes

    PR_SET_PDEATHSIG = 1
    ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, signal.SIGKILL)


class Database:
    """Starts the server on construction, with `options` besides its own; given the folder `data` of a
    stopped server, it only takes a copy of that, and start() is the caller's. close() stops it and
    removes all that it wrote."""

    def __init__(self, *options: str, data: pathlib.Path | None = None) -> None:
        self.options = options
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="ovk-db-"))
        self.folder.chmod(0o755)
        self.run_folder = self.folder / "run"
        self.run_folder.mkdir()
        self.socket = self.run_folder / "mysqld.sock"
        # Servers name their temporary tables by process id, which is no name to share /tmp by.
        self.tmp = self.folder / "tmp"
        self.tmp.mkdir()
        self._server: subprocess.Popen | None = None
        self._client: subprocess.Popen | None = None
        try:
            if data is not None:
                shutil.copytree(data, self.folder / "data")
                return
            self._create()
            self.start()
            self.execute(f"create user 'admin'@'localhost' identified by '{PASSWORD}'")
            self.execute("grant all privileges on *.* to 'admin'@'localhost'")
        except BaseException:
            self.close()
            raise

    def __enter__(self) -> "Database":
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    # -- the server ------------------------------------------------------------------------------

    def _create(self) -> None:
        command = [_find("mariadb-install-db"), "--no-defaults", f"--datadir={self.folder}/data",
                   "--auth-root-authentication-method=normal", "--skip-test-db",
                   "--force",  # also where the host does not know its own name
                   NO_SYNC, f"--tmpdir={self.tmp}"]
        if os.geteuid() == 0:
            command.append("--user=root")
        made = subprocess.run(command, capture_output=True, text=True)
        if made.returncode != 0:
            raise DatabaseError("mariadb-install-db failed:\n" + made.stdout + made.stderr)

    def start(self, *options: str) -> None:
        """Starts the server over the data that is there and waits until it answers."""
        command = [_find("mariadbd"), "--no-defaults", f"--datadir={self.folder}/data",
                   f"--socket={self.socket}", f"--pid-file={self.folder}/pid",
                   f"--tmpdir={self.tmp}",
                   "--log-output=TABLE", f"--log-error={self.folder}/error.log",
                   NO_SYNC, "--skip-networking", "--skip-log-bin", "--innodb-flush-log-at-trx-commit=0",
                   "--innodb-buffer-pool-size=32M", "--innodb-log-file-size=8M",
                   "--performance-schema=OFF", "--max-connections=300",
                   "--character-set-server=utf8mb4", *self.options, *options]
        if os.geteuid() == 0:
            command.append("--user=root")
        self._server = subprocess.Popen(command, stdin=subprocess.DEVNULL,
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                        preexec_fn=_die_with_parent)
        end = time.monotonic() + 60
        while time.monotonic() < end:
            if self._server.poll() is not None:
                break
            if self.socket.exists():
                try:
                    self.rows("select 1")
                    return
                except DatabaseError:
                    pass
            time.sleep(0.02)
        raise DatabaseError("mariadbd does not start:\n"
                            + (self.folder / "error.log").read_text(errors="replace"))

    def kill(self) -> None:
        """Ends the server at once, as a crash would."""
        self._end(signal.SIGKILL)
        self.socket.unlink(missing_ok=True)

    def stop(self) -> None:
        """Ends the server in good order; its data stays."""
        self._end(signal.SIGTERM)

    def _end(self, by: signal.Signals) -> None:
        self._drop_client()
        if self._server is not None:
            self._server.send_signal(by)
            self._server.wait()
            self._server = None

    def close(self) -> None:
        self.kill()
        shutil.rmtree(self.folder, ignore_errors=True)

    # -- statements ------------------------------------------------------------------------------

    def _drop_client(self) -> None:
        if self._client is not None:
            self._client.kill()
            self._client.wait()
            for stream in (self._client.stdin, self._client.stdout):
                if stream is not None:
                    with contextlib.suppress(BrokenPipeError):  # of what was still to be sent
                        stream.close()
            self._client = None

    def _talk(self, sql: str) -> bytes:
        """What one long-lived client prints for `sql`."""
        if self._client is None:
            self._client = subprocess.Popen(
                [_find("mariadb"), "--no-defaults", f"--socket={self.socket}", "--user=root",
                 "--default-character-set=utf8mb4", "--batch", "--skip-column-names",
                 "--unbuffered", "--force"],
                stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        client = self._client
        assert client.stdin is not None and client.stdout is not None
        try:
            client.stdin.write(f"{sql};\nselect '{SEPARATOR}';\n".encode())
            client.stdin.flush()
        except BrokenPipeError:
            pass
        answer = b""
        end = f"{SEPARATOR}\n".encode()
        while not answer.endswith(end):
            line = client.stdout.readline()
            if not line:
                self._drop_client()
                raise DatabaseError(answer.decode(errors="replace") or "no answer")
            answer += line
        answer = answer[:-len(end)]
        if answer.startswith(b"ERROR "):
            raise DatabaseError(answer.decode(errors="replace"))
        return answer

    def execute(self, sql: str) -> None:
        self._talk(sql)

    def rows(self, sql: str) -> list[list[str | None]]:
        """The rows of a query as texts, None for NULL."""
        return [[_unescape(column) for column in line.split("\t")]
                for line in self._talk(sql).decode(errors="surrogateescape").splitlines()]

    def load(self, *names: str) -> None:
        """Makes the panel's database anew from files of schema/."""
        script = "drop database if exists ovk; create database ovk character set utf8mb4; use ovk;\n"
        for name in names:
            script += (REPOSITORY / "schema" / name).read_text() + "\n"
        self.execute(script.rstrip().rstrip(";"))

    # -- what the program asked ------------------------------------------------------------------

    def listen(self) -> None:
        """Begins a new record of statements."""
        self.execute("truncate mysql.general_log; set global general_log = 1")

    def heard(self) -> list[str]:
        """The statements of everyone but this object since listen(), in order."""
        self.execute("set global general_log = 0")
        return [row[0] for row in self.rows("select argument from mysql.general_log where"
                                            " command_type = 'Query' and thread_id <> connection_id()")]


def _unescape(column: str) -> str | None:
    if column == "NULL":
        return None
    if "\\" not in column:
        return column
    out = []
    characters = iter(column)
    for c in characters:
        if c == "\\":
            c = next(characters)
            c = {"n": "\n", "t": "\t", "0": "\0"}.get(c, c)
        out.append(c)
    return "".join(out)
