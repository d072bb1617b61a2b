"""What a host may switch on in ovk.conf: refusal of automatic mail, more headers, the null path."""

import email
import email.policy

from support.case import BOX, SENDER, PanelCase, mail

REFUSED = "autoresponder: Not answered: {}\n"


class Policy(PanelCase):
    def setUp(self) -> None:
        super().setUp()
        self.database.execute(
            "insert into mail_aliases (mn_id, alias) values (1, 'Orders');"
            "insert into domainaliases (dom_id, name, mail) values (1, 'example.net', 'true'),"
            " (1, 'parked.test', 'false')")

    def switch_on(self, *names: str, value: str = "true") -> None:
        with (self.box.etc / "ovk.conf").open("a") as conf:
            for name in names:
                conf.write(f"AUTORESPONDER_{name} {value}\n")

    def test_refused_mail_is_forwarded_within_the_limit(self) -> None:
        self.rule(1, forward=["boss@example.org"], attach=["gone"], ans_freq="2")
        self.rule(2)
        self.rule(3, forward=["boss@example.org"], ans_freq="0")
        self.rule(4, forward=["nobody@example.org"], keystr="x", key_where="subj")
        self.switch_on("REFUSE_AUTOMATIC")
        for forwards in (1, 1, 0):
            run = self.deliver(mail(headers="List-Id: x\n"))
            self.assertEqual((run.status, run.out, run.leftovers), (0, "", []))
            self.assertEqual(run.err, REFUSED.format("List-Id is present"))
            self.assertEqual([call.args[2:] for call in run.calls],
                             [[BOX, "boss@example.org"]] * forwards)
        self.assertEqual(self.database.rows("select rn_id, num from resp_freq order by 1"),
                         [["1", "2"], ["2", "3"]])

    def test_a_storm_ends(self) -> None:
        """A rule that forwards to its own mailbox, and bounces of what it forwards."""
        self.rule(forward=[BOX], ans_freq="5")
        self.switch_on("REFUSE_AUTOMATIC")
        message, runs = mail(headers="Precedence: list\n").encode(), 0
        while message:
            run = self.deliver(message)
            message = b"".join(call.message for call in run.calls)
            runs += 1
            self.assertLessEqual(runs, 6)
        self.assertEqual(runs, 6)
        for sender, headers, sign in (
            (SENDER, "Return-Path: <>\n", "Return-Path is null"),
            (SENDER, "Precedence: list\nContent-Type: multipart/report\n",
             "Content-Type is multipart/report"),
            ("Mailer-Daemon@host.test", "", "From or Reply-To contains mailer-daemon"),
        ):
            self.database.execute("truncate resp_freq")
            self.assert_silent(self.deliver(mail(headers=headers, sender=sender)),
                               f"autoresponder: Neither answered nor forwarded: {sign}\n")
            self.assertEqual(self.database.rows("select * from resp_freq"), [])

    def test_who_is_refused(self) -> None:
        self.rule(ans_freq="1000")
        self.switch_on("REFUSE_AUTOMATIC")
        recipient, mailbox = "From or Reply-To is the recipient", "From or Reply-To is the mailbox itself"
        for sender, reason in (
            (SENDER, ""), ("other@example.com", ""), ("sales@parked.test", ""),
            ("sales@client.example", ""), ("talk-bounces@x.test", "From or Reply-To ends with -bounces"),
            ("SALES@Example.com", recipient), ("orders@example.COM", mailbox),
            ("sales@example.net", mailbox), ('"orders"@example.net', mailbox),
        ):
            with self.subTest(sender):
                run = self.deliver(mail(sender=sender))
                self.assertEqual((run.status, run.err, len(run.calls)),
                                 (0, REFUSED.format(reason), 0) if reason else (0, "", 1))

    def test_addressed_only(self) -> None:
        self.database.execute("insert into domainaliases (dom_id, name, mail) values"
                              " (1, 'bücher.example', 'true')")
        self.rule(forward=["boss@example.org"], ans_freq="1000")
        self.switch_on("ADDRESSED_ONLY")
        head = f"From: {SENDER}\nList-Id: x\n"  # which is another variable's matter
        for fields, answered in (
            (f"To: {BOX}", True), ("CC: x@y.test, Sales <SALES@Example.COM>", True),
            ("To: x@y.test\nResent-To: (a) orders@example.net", True),
            ("Resent-Cc: \"orders\"@example.com", True), ("To: sales@xn--bcher-kva.example", True),
            ("To: x@y.test\nTo: broken \" (\nCc: <orders@example.com>", True),
            ("To: All: x@y.test,\n sales@example.com;", True),
            ("To: undisclosed-recipients:;", False), ("X-To: sales@example.com", False),
            ("Bcc: sales@example.com", False), ("To: sales@parked.test, other@example.com", False),
            ("To: \"sales@example.com\" <x@y.test>", False), ("To: x@sales@example.com", False),
            ("Subject: x", False),
        ):
            with self.subTest(fields):
                run = self.deliver(f"{head}{fields}\n\n")
                self.assertEqual([call.args[3] for call in run.calls],
                                 ["boss@example.org"] + [SENDER] * answered)
                self.assertEqual(run.err, "" if answered else REFUSED.format(
                    "To and Cc name no address of the mailbox"))
        self.assertEqual(self.database.rows("select num from resp_freq"), [["14"]])

    def test_delimiter(self) -> None:
        self.rule(ans_freq="1000")
        self.database.execute("insert into mail (id, dom_id, mail_name) values (2, 1, 'a+b'),"
                              " (3, 1, '')")
        self.rule(2, mn_id=2, text="a+b")
        plus = "sales+x+y@example.com"
        for value, recipient, answered in (
            (None, plus, False), ("++", plus, False), ("-", plus, False), ("true", plus, False),
            ("+", plus, True), ("+", "orders+'x@example.net", True), ("+", "+x@example.com", False),
            ("+", "sales-x@example.com", False), ("-", "sales-x@example.com", True),
            ("+", "a+b@example.com", True),
        ):
            with self.subTest(value, recipient=recipient):
                (self.box.etc / "ovk.conf").write_text("")
                if value:
                    self.switch_on("RECIPIENT_DELIMITER", value=value)
                self.switch_on("MODERN", value="false")
                run = self.deliver(recipient=recipient)
                if answered:
                    self.assert_answered(run)
                    self.assertEqual(run.calls[0].args[2], recipient)
                    self.assertIn(f"From: {recipient}\n", run.calls[0].message.decode())
                    self.assertEqual(b"a+b\n" in run.calls[0].message, recipient[0] == "a")
                else:
                    self.assert_silent(run, f"autoresponder: Mailname not found: {recipient}\n")
        self.switch_on("REFUSE_AUTOMATIC")
        run = self.deliver(mail(sender="Orders+z@example.net"))
        self.assertEqual(run.err, REFUSED.format("From or Reply-To is the mailbox itself"))

    def test_which_value_counts(self) -> None:
        """A variable that is there counts; MODERN does for those that are not."""
        self.rule(ans_freq="1000")
        for modern, own, on in (
            ("", "false", False), ("", "TRUE", False), ("", "1", False), ("", "true yes", False),
            ("", "true", True), ("true", "", True), ("true", "false", False), ("true", "1", False),
            ("false", "true", True), ("TRUE", "", False), ("false", "", False),
        ):
            with self.subTest(modern=modern, own=own):
                (self.box.etc / "ovk.conf").unlink(missing_ok=True)
                if modern:
                    self.switch_on("MODERN", value=modern)
                if own:
                    self.switch_on("REPLY_HEADERS", "NULL_SENDER", value=own)
                run = self.deliver(mail(headers="Message-ID: <a@b>\n"))
                self.assert_answered(run)
                self.assertEqual(run.calls[0].args[-2], "<>" if on else BOX)
                self.assertEqual(b"Date:" in run.calls[0].message, on)
                if not own:
                    for message in (mail(headers="List-Id: x\n"), mail().replace(BOX, "x@y.test")):
                        self.assertEqual(len(self.deliver(message).calls), not on)

    def test_headers_and_envelope(self) -> None:
        self.rule(1, attach=["gone"])
        self.rule(2, text="x" * 3000)
        self.box.databytes("2000")
        self.switch_on("REPLY_HEADERS", "NULL_SENDER")
        run = self.deliver(mail(headers="Message-ID: <b@x>\nReferences: <a@x> <bad\n id@x>\n"))
        self.assert_answered(run, 3)  # notice, reply, oversize reply
        identities = set()
        for call in run.calls:
            self.assertEqual(call.args[1:3], ["-f", "<>"])
            lines = call.message.decode().partition("\n\n")[0].split("\nSubject: ")[1].splitlines()
            self.assertEqual([line.partition(":")[0] for line in lines[1:8]],
                             ["Date", "Message-ID", "Auto-Submitted", "X-Auto-Response-Suppress",
                              "In-Reply-To", "References", " <b@x>"])
            message = email.message_from_bytes(call.message, policy=email.policy.default)
            self.assertRegex(message["Message-ID"], r"\A<[^@<>]+@example\.com>\Z")
            identities.add(message["Message-ID"])
        self.assertEqual(len(identities), 3)

    def test_as_shown(self) -> None:
        """The text of a nested part, a folded subject, a control character of the rule's own."""
        self.rule(1, keystr="late  order", key_where="body", ans_freq="1000",
                  subject="A\tB: <request_subject>")
        self.rule(2, keystr="Über uns", key_where="subj", ans_freq="1000")
        inner = "--i\nContent-Type: text/html\n\nyour late<br><b>o</b>rder <i hidden>x</i>\n--i--\n"
        message = mail(headers="Content-Type: multipart/mixed; boundary=o\n",
                       subject="=?utf-8?Q?=C3=9Cber?=\n uns", body="--o\nContent-Type:"
                       f" multipart/related; boundary=i\n\n{inner}--o--\n")
        self.assertEqual(self.deliver(message).calls, [])
        self.switch_on("MODERN")
        self.switch_on("REFUSE_AUTOMATIC", "ADDRESSED_ONLY", value="false")
        run = self.deliver(message)
        self.assert_answered(run, 2)
        subjects = [email.message_from_bytes(call.message, policy=email.policy.default)["Subject"]
                    for call in run.calls]
        self.assertEqual(subjects, ["A B: Über uns", "Re: Über uns"])
        self.switch_on("READ_AS_SHOWN", value="false")
        self.assertEqual(self.deliver(message).calls, [])
