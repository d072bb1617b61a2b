"""The line that a run leaves in the system log, where the host wants one, and what autoresponder-logged puts there."""

import contextlib
import os
import pathlib
import re
import socket
import subprocess
import time

from support.case import BOX, PanelCase, mail


class Log(PanelCase):
    def setUp(self) -> None:
        super().setUp()
        self.log = self.system_log()

    def line(self, message: str = mail(), recipient: str | None = BOX) -> str:
        """What a run logs, behind facility, priority, time and process, without the milliseconds."""
        self.deliver(message, recipient)
        try:
            logged = self.log.recv(65536).decode("ascii").rstrip("\0")
        except BlockingIOError:
            return ""
        self.assertRegex(logged, r"^<22>.{15} autoresponder\[\d+\]: to=")  # mail, info
        text = logged.split("]: ", 1)[1]
        self.assertLess(len(text), 1000)
        self.assertRegex(text, r", ms=\d+")
        self.assertRaises(BlockingIOError, self.log.recv, 1)
        return re.sub(r", ms=\d+", "", text)

    def test_replies_can_be_counted_as_the_documents_say(self) -> None:
        page = (pathlib.Path(__file__).parents[2] / "docs/OPERATION.md").read_text()
        command = re.search(r"^(journalctl -q.*?)\n```", page, re.M | re.S)[1]
        line = re.search(r"^(to=<.*)\n```", page, re.M)[1]
        log = self.box.folder / "mail.log"
        log.write_text("".join(f"2026-11-{day} host autoresponder[1]: {line}, rule 9=answered\n"
                               for day in (24, 25, 25)) + "2026-11-25 host other: rule 3=answered\n")
        counts = subprocess.run(re.sub("^journalctl.*?(?= [|])", f"cat {log}", command), shell=True,
                                capture_output=True, text=True, check=True).stdout
        self.assertEqual(counts, "".join(f"2026-11-{day} {BOX} rule {rule} {count}\n" for
                                         day, rule, count in ((24, 3, 1), (24, 9, 1), (25, 3, 2), (25, 9, 2))))

    def test_each_way_out_has_its_line(self) -> None:
        self.assertEqual(self.line(), "")
        self.configure("LOG", "REFUSE_AUTOMATIC")
        self.rule(1, forward=["a@x.test", "b@x.test"], attach=["gone"], ans_freq="1")
        self.rule(2, keystr="no such", key_where="subj")
        self.rule(3, resp_on="false")
        head = "to=<{}>, from=<joe@client.example>, message-id=<{}>, mailbox=<{}>, forwards={}, notices={}"
        for message, recipient, expected in (
            (mail(headers="Message-ID: <1@x>\n"), BOX,
             head.format(BOX, "1@x", BOX, 2, 1) + ", rule 1=answered, rule 2=no match"),
            (mail(), BOX, head.format(BOX, "", BOX, 0, 0) + ", rule 1=limit reached, rule 2=no match"),
            (mail(headers="List-Id: x\n"), BOX, head.format(BOX, "", BOX, 0, 0) +
             ", reason=\"List-Id is present\", rule 1=limit reached, rule 2=no match"),
            (mail(), "a,\"\n\xe9>@example.com",
             head.format("a\\x2C\\x22\\x0A\\xC3\\xA9\\x3E@example.com", "", "", 0, 0) + ", reason=\""
             "autoresponder: Mailname not found: a\\x2C\\x22\\x5Cx0A\\xC3\\xA9\\x3E@example.com\""),
            ("Subject: x\n\n", BOX, f"to=<{BOX}>, from=<>, message-id=<>, mailbox=<>, forwards=0, "
             "notices=0, reason=\"Could not get sender's e-mail address from Reply-To: or From: "
             "headers.\""),
        ):
            self.assertEqual(self.line(message, recipient), expected)
        self.database.execute(f"insert into mail (id, dom_id, mail_name) values (2, 1, '{'x' * 70}')")
        self.rule(100, mn_id=2)
        self.assertIn(', reason="autoresponder: IDN conversion error: Invalid length", rule 100=failed',
                      self.line(recipient=f"{'x' * 70}@example.com"))
        for rule in range(4, 80):
            self.rule(rule)
        self.assertRegex(self.line(mail(headers="Message-ID: <" + "m" * 400 + "@x>\n")),
                         r", message-id=<m+\.\.\.>.*, rule 4=answered, .*, and \d+ more$")
        self.database.execute("drop table resp_attach")
        self.assertRegex(self.line(mail(sender="eve@x.test")),
                         r"reason=\"autoresponder: Unable to exec query .*, rule 1=failed$")
        (self.box.etc / ".ovk.shadow").unlink()
        self.assertIn(', reason="autoresponder: Unable to open admin password file: No such file or '
                      'directory\\x0ASystem error 2: No such file or directory"', self.line())


class Logged(PanelCase):
    """autoresponder-logged, with scripts in the program's place."""

    def setUp(self) -> None:
        super().setUp()
        self.log = self.system_log()
        self.logged = ["--ro-bind", os.environ["OVK_PROGRAM"] + "-logged", "/program/autoresponder-logged"]
        self.box.extra[:0] = self.logged
        self.box.wrapper = ["/program/autoresponder-logged"]

    def lines(self) -> list[str]:
        lines = []
        with contextlib.suppress(BlockingIOError):
            while True:
                entry = self.log.recv(65536).decode("ascii").rstrip("\0")
                self.assertRegex(entry, r"^<22>.{15} autoresponder: [^\0-\x1f\x7f]+$")  # mail, info
                lines.append(entry.split(": ", 1)[1])
        return lines

    def check(self, status: int, *lines: str, message: str = mail()) -> None:
        begin = time.monotonic()
        run = self.deliver(message)
        self.assertEqual((run.status, run.out, run.err), (status, "", ""))
        self.assertLess(time.monotonic() - begin, 5)
        self.assertEqual(self.lines(), list(lines))

    def script(self, text: str, mode: int = 0o755) -> None:
        self.box.program = self.box.folder / "program"
        self.box.program.write_text("#!/bin/sh\n" + text)
        self.box.program.chmod(mode)

    def test_its_lines_and_its_status(self) -> None:
        self.check(0, "Field From: contains MAILER-DAEMON", message=mail(sender="mailer-daemon@x.test"))
        for text, told, *lines in (
            ("echo out", 0),
            (r"printf 'autoresponder: one\n\n\ntwo \\ \303\244 \033[0m\rx' >&2; exit 1", 0,
             "one", r"two \x5C \xC3\xA4 \x1B[0m\x0Dx", f"exit status 1 for {BOX}"),
            ("kill -SEGV $$", 0, f"ended by signal 11 for {BOX}"),
            *((f"exit {status}", told, f"exit status {status} for {BOX}")
              for status, told in ((75, 75), (111, 111), (2, 2), (100, 100), (126, 75), (127, 75))),
            ("printf %020000d 1 >&2", 0, "0" * 7000, "0" * 7000, "0" * 5999 + "1"),
            ("sleep 100 & echo said >&2; exit 75", 75, "said", f"exit status 75 for {BOX}"),
        ):
            with self.subTest(text):
                self.script(text)
                self.check(told, *lines)
        self.script("yes >&2 & exit 75")  # more than any log takes, without end
        self.assertEqual(self.deliver().status, 75)

    def test_a_program_that_cannot_be_started_is_tried_again(self) -> None:
        self.script("exit 0", 0o644)
        self.check(75, "/program/autoresponder: Permission denied", f"exit status 126 for {BOX}")
        self.box.extra[2] = "/usr/sbin/x-logged"
        self.box.wrapper = ["/usr/sbin/x-logged"]
        self.check(75, "/usr/sbin/x: No such file or directory", f"exit status 127 for {BOX}")
        self.box.extra[2] = "/program/autoresponder-logged"
        self.box.wrapper = ["/bin/sh", "-c", "ulimit -n 5; exec /program/autoresponder-logged"]
        self.check(75, "cannot be started: Too many open files")

    def test_the_log_changes_nothing(self) -> None:
        self.script("for i in 1 2 3; do echo said >&2; done; exit 75")
        full = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(full.close)
        full.setblocking(False)
        with contextlib.suppress(BlockingIOError):
            while True:
                full.sendto(b"<22>Nov 25 00:00:00 autoresponder: full", str(self.box.folder / "log"))
        begin = time.monotonic()
        self.assertEqual(self.deliver().status, 75)
        self.assertLess(time.monotonic() - begin, 2.5)
        self.assertEqual(set(self.lines()), {"full"})
        self.box.extra = self.logged  # no log at all
        self.check(75)
