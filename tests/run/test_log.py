"""The line that a run leaves in the system log, where the host wants one."""

import pathlib
import re
import socket
import subprocess

from support.case import BOX, PanelCase, mail


class Log(PanelCase):
    def setUp(self) -> None:
        super().setUp()
        self.log = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(self.log.close)
        path = str(self.box.folder / "log")
        self.log.bind(path)
        self.log.setblocking(False)
        self.box.extra = ["--bind", path, "/dev/log"]

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
        with (self.box.etc / "ovk.conf").open("a") as conf:
            conf.write("AUTORESPONDER_LOG true\nAUTORESPONDER_REFUSE_AUTOMATIC true\n")
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
             "autoresponder: Mailname not found: a\\x2C\\x22\\x0A\\xC3\\xA9\\x3E@example.com\""),
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
