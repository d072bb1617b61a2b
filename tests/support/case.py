"""Base of the whole-program tests: one private server for a suite, one sandbox for a test."""

import email
import email.message
import email.policy
import os
import pathlib
import shlex
import socket
import subprocess
import unittest

from sandbox.database import Database
from sandbox.box import Run, Sandbox

SENDER = "joe@client.example"
BOX = "sales@example.com"
PANEL = (
    "insert into clients (id, login, pname, email)"
    " values (1, 'alpha', 'Anna Alpha', 'anna@alpha.test');"
    "insert into domains (id, cl_id, name) values (1, 1, 'example.com');"
    "insert into mail (id, dom_id, mail_name) values (1, 1, 'sales');"
    "insert into mail_aliases (mn_id, alias) values (1, 'orders');"
    "insert into domainaliases (dom_id, name, mail) values (1, 'example.net', 'true'), (1, 'parked.test', 'false')")


def mail(subject: str = "Hello", body: str = "How are you?\n", headers: str = "",
         sender: str = SENDER) -> str:
    return f"From: Joe <{sender}>\nTo: {BOX}\nSubject: {subject}\n{headers}\n{body}"


def parsed(message: bytes) -> email.message.EmailMessage:
    return email.message_from_bytes(message, policy=email.policy.default)


def quote(value: object) -> str:
    """A value as an SQL literal."""
    if value is None:
        return "NULL"
    if isinstance(value, int):
        return str(value)
    if any(c < " " for c in str(value)):  # the client would change some of them
        return "_utf8mb4 x'" + str(value).encode().hex() + "'"
    return "'" + str(value).replace("\\", "\\\\").replace("'", "\\'") + "'"


class PanelCase(unittest.TestCase):
    """Domain example.com with mailbox sales (id 1), its alias and its alias domains, and no rules yet."""

    database: Database
    maxDiff = None

    @classmethod
    def setUpClass(cls) -> None:
        cls.database = Database()
        cls.addClassCleanup(cls.database.close)

    def setUp(self) -> None:
        self.box = Sandbox(os.environ["OVK_PROGRAM"], os.environ["OVK_SENDMAIL"], self.database)
        self.addCleanup(self.box.close)
        self.new_panel()

    def new_panel(self, *more: str) -> None:
        """The panel's tables anew, and those of more files of schema/."""
        self.database.load("panel.sql", *more)
        self.database.execute(PANEL)

    def configure(self, *on: str, **values: str | None) -> None:
        """Makes ovk.conf anew: the choices that are on, and those of another value."""
        (self.box.etc / "ovk.conf").write_text("".join(
            f"AUTORESPONDER_{name} {value}\n" for name, value in (dict.fromkeys(on, "true") | values).items()
            if value))

    def system_log(self) -> socket.socket:
        """What is written to the sandbox's /dev/log comes out here."""
        log = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(log.close)
        log.bind(str(self.box.folder / "log"))
        log.setblocking(False)
        self.box.extra = ["--bind", str(self.box.folder / "log"), "/dev/log"]
        return log

    def rule(self, id: int = 1, mn_id: int = 1, forward: list[str | None] = [],
             attach: list[str | None] = [], **columns: object) -> None:
        """Adds a rule that is on and answers everything unless told otherwise."""
        values = {"id": id, "mn_id": mn_id, "resp_on": "true", "text": "Thanks."} | columns
        statements = [f"insert into mail_resp ({', '.join(values)})"
                      f" values ({', '.join(quote(value) for value in values.values())})"]
        for address in forward:
            statements.append("insert into resp_forward (rn_id, address)"
                              f" values ({id}, {quote(address)})")
        for name in attach:
            statements.append("insert into resp_attach (rn_id, filename)"
                              f" values ({id}, {quote(name)})")
        self.database.execute("; ".join(statements))

    def only_rule(self, id: int = 1, **columns: object) -> None:
        """Makes the rules anew, with one that has answered nobody yet."""
        self.database.execute("delete from mail_resp; delete from resp_forward; delete from resp_attach;"
                              " delete from resp_freq")
        self.rule(id, **columns)

    def deliver(self, message: bytes | str = mail(), recipient: str | None = BOX) -> Run:
        return self.box.run(message, recipient)

    def explain_command(self, *arguments: str, within: list[str] = [], **environment: str) -> list[str]:
        """What runs autoresponder-explain in the sandbox, by way of the command `within`."""
        command = self.box.command(None)[:-2]
        for name, value in environment.items():
            command += ["--setenv", name, value]
        return [*command, "--ro-bind", os.environ["OVK_EXPLAIN"], "/explain", "--", *within, "/explain", *arguments]

    def run_explain(self, message: bytes | str | None, *arguments: str, within: list[str] = [],
                    **environment: str) -> subprocess.CompletedProcess[bytes]:
        data = message.encode() if isinstance(message, str) else message or b""
        return subprocess.run(self.explain_command(*arguments, within=within, **environment), input=data,
                              capture_output=True, timeout=60)

    def run_probe(self, *calls: tuple[str, ...]) -> Run:
        """Calls of the panel library, by panel_probe.cpp in the program's place."""
        words = shlex.join("\x1f".join(call) for call in calls)
        program, self.box.program = self.box.program, pathlib.Path(os.environ["OVK_PROBE"]).resolve()
        self.box.wrapper = ["/bin/sh", "-c", f'exec "$0" {words}']
        run = self.deliver()
        self.box.program, self.box.wrapper = program, []
        return run

    def assert_silent(self, run: Run, err: str = "") -> None:
        """Nothing went out, nothing stayed, status 0, and `err` alone was said."""
        self.assertEqual((run.status, run.out, run.err), (0, "", err))
        self.assertEqual(run.calls, [])
        self.assertEqual(run.leftovers, [])

    def assert_answered(self, run: Run, count: int = 1) -> None:
        self.assertEqual((run.status, run.out, run.err), (0, "", ""))
        self.assertEqual(len(run.calls), count)
        self.assertEqual(run.leftovers, [])
