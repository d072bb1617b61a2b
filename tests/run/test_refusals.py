"""What is not answered, and what the program says then."""

import os
import subprocess

from support.case import BOX, SENDER, PanelCase, mail

ABNORMAL = "Abnormal exit.\n"
NO_SENDER = "Could not get sender's e-mail address from Reply-To: or From: headers.\n"
OPTION = "autoresponder: Address looks like an option: {}\n"
NOT_CONNECTED = "autoresponder: Unable to connect to the mysql database \n"


class Refusals(PanelCase):
    def setUp(self) -> None:
        super().setUp()
        self.rule()

    def test_messages_that_cannot_be_used(self) -> None:
        for name, message in {
            "empty": "",
            "no sender": "Subject: x\n\n",
            "sender without a domain": "From: joe\n\n",
            "null sender": "From: <>\n\n",
        }.items():
            with self.subTest(name):
                self.assert_silent(self.deliver(message), NO_SENDER + ABNORMAL)

    def test_no_recipient(self) -> None:
        self.assert_silent(self.deliver(recipient=None),
                           "Could not get recipient e-mail address from RESP_RECIPIENT environment"
                           " variable\n" + ABNORMAL)

    def test_own_mail(self) -> None:
        message = "Field From: equial field To:\n"
        self.assert_silent(self.deliver(mail(sender=BOX)), message)
        self.assert_silent(self.deliver(mail(headers=f"Reply-To: <{BOX}>\n")), message)
        self.assert_answered(self.deliver(mail(sender=BOX.upper())))

    def test_daemons(self) -> None:
        for sender in ("MAILER-DAEMON@host.test", "x-mailer-daemon@host.test",
                       "joe@DrWEB-DAEMON.test"):
            with self.subTest(sender):
                self.assert_silent(self.deliver(mail(sender=sender)),
                                   "Field From: contains MAILER-DAEMON\n")
        self.assert_answered(self.deliver(mail(sender="Mailer-Daemon@host.test")))

    def test_sender_that_looks_like_an_option(self) -> None:
        """Is refused: no reply, and a forward within the limit."""
        self.rule(id=2, forward=["boss@example.org"], ans_freq="1")
        for forwards in (1, 0):
            run = self.deliver(mail(sender="-oQ/tmp@client.example"))
            self.assertEqual((run.status, run.err, run.leftovers),
                             (0, OPTION.format("-oQ/tmp@client.example"), []))
            self.assertEqual([call.args[3:] for call in run.calls],
                             [["boss@example.org"]] * forwards)

    def test_addresses_that_look_like_options(self) -> None:
        evil = "-C/var/qmail/mailnames/example.com/sales/@attachments"
        self.rule(id=2, forward=[evil, "a@example.org", "-"], attach=["gone"])
        self.rule(id=3, forward=[evil])
        for change, said, notices in (
            ("do 0", 0, 1), (f"update clients set email = '{evil}'", 1, 0),
            (f"update clients set email = 'a@x.test'; insert into misc values ('admin_email', '{evil}')",
             1, 0),
        ):
            self.database.execute(change)
            run = self.deliver()
            self.assertEqual((run.status, run.err),
                             (0, OPTION.format(evil) + OPTION.format("-")
                              + OPTION.format(evil) * (said + 1)))
            self.assertEqual([call.args[3:] for call in run.calls],
                             [[SENDER], ["a@example.org"], *[["anna@alpha.test"]] * notices,
                              [SENDER], [SENDER]])

    def test_senders_that_no_mail_can_reach(self) -> None:
        self.rule(id=2, forward=["boss@example.org"])
        domain = ".".join(["d" * 60] * 4)  # 243 octets
        for sender, fits in (("a" * 64 + "@client.example", True), ("b" * 10 + "@" + domain, True),
                             ("a" * 65 + "@client.example", False),
                             ("c" * 11 + "@" + domain, False)):
            with self.subTest(sender):
                self.database.listen()
                run = self.deliver(mail(sender=sender))
                if fits:
                    self.assert_answered(run, 3)
                else:
                    self.assert_silent(run, "Field From: address is too long\n")
                    self.assertEqual(self.database.heard(), [])

    def test_diagnostics_that_nobody_reads(self) -> None:
        read_end, write_end = os.pipe()
        os.close(read_end)
        run = subprocess.run(self.box.command(BOX), input=b"", stderr=write_end)
        os.close(write_end)
        self.assertEqual((run.returncode, list(self.box.tmp.iterdir())), (0, []))


class Database(PanelCase):
    """Failures of the panel database."""

    def fails_to_connect(self, explanation: str) -> None:
        run = self.deliver()
        self.assertEqual(run.status, 0)
        self.assertRegex(run.out, f"\\Aautoresponder: {explanation}")
        self.assertEqual(run.err, run.out + NOT_CONNECTED)
        self.assertEqual((run.calls, run.leftovers), ([], []))

    def test_password_file_missing(self) -> None:
        (self.box.etc / ".ovk.shadow").unlink()
        self.fails_to_connect("Unable to open admin password file: No such file or directory\n"
                              "System error 2: No such file or directory\n\\Z")

    def test_wrong_password(self) -> None:
        (self.box.etc / ".ovk.shadow").write_text("wrong\n")
        self.fails_to_connect("Unable to connect to Orvek Database: Access denied for user 'admin'")

    def test_only_the_first_line_is_the_password(self) -> None:
        self.rule()
        shadow = self.box.etc / ".ovk.shadow"
        shadow.write_text(shadow.read_text() + "second line\n")
        self.assert_answered(self.deliver())
