"""What a host may switch on in ovk.conf, and which output each switch changes."""

import email.utils
import time

from support.case import BOX, SENDER, PanelCase, mail, parsed

REFUSED = "autoresponder: Not answered: {}\n"
IGNORES_ITS_CHILDREN = ("import os, signal, sys; signal.signal(signal.SIGCHLD, signal.SIG_IGN);"
                        " os.execv(sys.argv[1], sys.argv[1:])")
SWITCHES = ("REFUSE_AUTOMATIC", "ADDRESSED_ONLY", "REPLY_HEADERS", "NULL_SENDER", "STANDARD_MAIL", "LOG",
            "RETRY_LATER", "RETRY_HOURS", "STOP_CIRCLES", "READ_AS_SHOWN", "IGNORE_CASE", "RECIPIENT_DELIMITER")
NESTED = mail(headers="Content-Type: multipart/mixed; boundary=o\n", body="--o\nContent-Type:"
              " multipart/mixed; boundary=i\n\n--i\n\nlate order\n--i--\n--o--\n")
# What differs from the delivered state, by switch: in every run that sends, and in which run besides.
ALWAYS = {"REFUSE_AUTOMATIC": "head", "REPLY_HEADERS": "head", "STOP_CIRCLES": "head", "NULL_SENDER": "sender",
          "STANDARD_MAIL": "body head options", "LOG": "log"}
DIFFERENCES: list[tuple[str, str, str, dict[str, str]]] = [
    (mail(), BOX, "", ALWAYS),
    (mail(headers="List-Id: x\n"), BOX, "", ALWAYS | {"REFUSE_AUTOMATIC": "said sent"}),
    (mail(headers=f"x-autoresponder-forwarded: {BOX}\n"), BOX, "", ALWAYS | {"STOP_CIRCLES": "count said sent"}),
    (mail(headers="Return-Path: <>\n"), BOX, "", ALWAYS | {"REFUSE_AUTOMATIC": "count said sent"}),
    (mail().replace(f"To: {BOX}", "To: x@y.test"), BOX, "", ALWAYS | {"ADDRESSED_ONLY": "said sent"}),
    (NESTED, BOX, "", ALWAYS | {"READ_AS_SHOWN": "count sent"}),
    (mail(body="LATE ORDER"), BOX, "", ALWAYS),
    (mail(), "sales+x@example.com", "", {"RECIPIENT_DELIMITER": "count said sent", "LOG": "log"}),
    (mail(), BOX, "no database", {"RETRY_LATER": "status", "LOG": "log"}),
    (mail(), BOX, "exit 75", ALWAYS | {"RETRY_LATER": "count said sent status"}),
    (mail(), BOX, "exit 67", ALWAYS | {"RETRY_LATER": "said"}),
]


class Policy(PanelCase):
    def setUp(self) -> None:
        super().setUp()
        self.database.execute("update mail_aliases set alias = 'Orders'")

    def test_refused_mail_is_forwarded_within_the_limit(self) -> None:
        self.rule(1, forward=["boss@example.org"], attach=["gone"], ans_freq="2")
        self.rule(2)
        self.rule(3, forward=["boss@example.org"], ans_freq="0")
        self.rule(4, forward=["nobody@example.org"], keystr="x", key_where="subj")
        self.configure("REFUSE_AUTOMATIC")
        for forwards in (1, 1, 0):
            run = self.deliver(mail(headers="List-Id: x\n"))
            self.assertEqual((run.status, run.out, run.leftovers), (0, "", []))
            self.assertEqual(run.err, REFUSED.format("List-Id is present"))
            self.assertEqual([call.args[2:] for call in run.calls],
                             [[BOX, "boss@example.org"]] * forwards)
        self.assertEqual(self.database.rows("select rn_id, num from resp_freq order by 1"),
                         [["1", "2"], ["2", "3"]])

    def test_bounces_are_not_forwarded(self) -> None:
        self.rule(forward=[BOX])
        self.configure("REFUSE_AUTOMATIC")
        for sender, headers, sign in (
            (SENDER, "Return-Path: <>\n", "Return-Path is null"),
            (SENDER, "Precedence: list\nContent-Type: multipart/report\n",
             "Content-Type is multipart/report"),
            ("Mailer-Daemon@host.test", "", "From or Reply-To contains mailer-daemon"),
        ):
            self.assert_silent(self.deliver(mail(headers=headers, sender=sender)),
                               f"autoresponder: Neither answered nor forwarded: {sign}\n")
            self.assertEqual(self.database.rows("select * from resp_freq"), [])

    def test_who_is_refused(self) -> None:
        self.rule(ans_freq="1000")
        self.configure("REFUSE_AUTOMATIC")
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
        self.configure("ADDRESSED_ONLY")
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
        # Many addresses are not compared with many names one by one.
        self.database.execute("insert into mail_aliases (mn_id, alias)"
                              " select 1, concat('alias-', 10000 + seq) from seq_1_to_10000")
        self.box.wrapper = ["/bin/sh", "-c", "ulimit -t 3; exec $0"]
        crowd = "".join(f"alias-{number}@client.example,\n " for number in range(20000, 320000))
        self.assertEqual(len(self.deliver(f"{head}To: {crowd} {BOX}\n\n").calls), 2)

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
            ("+", "a+b@example.com", True), ("+", f"sales+{'x' * 60}..y@example.com", True),
        ):
            with self.subTest(value, recipient=recipient):
                self.configure(RECIPIENT_DELIMITER=value, MODERN="false")
                run = self.deliver(recipient=recipient)
                if answered:
                    self.assert_answered(run)
                    self.assertEqual(run.calls[0].args[2], recipient)
                    self.assertIn(f"From: {recipient}\n", run.calls[0].message.decode())
                    self.assertEqual(b"a+b\n" in run.calls[0].message, recipient[0] == "a")
                else:
                    self.assert_silent(run, f"autoresponder: Mailname not found: {recipient}\n")
        self.database.listen()
        self.deliver(recipient="x+y@example.com")
        lookups = self.database.heard()[1:]
        self.assertEqual((len(lookups), len({*lookups})), (8, 8))  # each once
        self.configure("REFUSE_AUTOMATIC", RECIPIENT_DELIMITER="+")
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
                self.configure(MODERN=modern, REPLY_HEADERS=own, NULL_SENDER=own)
                run = self.deliver(mail(headers="Message-ID: <a@b>\n"))
                self.assert_answered(run)
                self.assertEqual(run.calls[0].args[-2], "<>" if on else BOX)
                self.assertEqual(b"Date:" in run.calls[0].message, on)
                if not own:
                    for message in (mail(headers="List-Id: x\n"), mail().replace(BOX, "x@y.test")):
                        self.assertEqual(len(self.deliver(message).calls), not on)

    def outputs(self, message: str, recipient: str, *switches: str) -> tuple[dict, dict]:
        """What a run gives but for its mails, and its mails."""
        self.configure(**{name: "+" if name == "RECIPIENT_DELIMITER" else "true" for name in switches})
        self.database.execute("truncate resp_freq")
        run = self.deliver(message, recipient)
        mails = {}
        for call in run.calls:
            at, (head, _, body) = call.args.index("-f"), call.message.partition(b"\n\n")
            mails[call.args[at + 2], body.endswith(b"Late.\n\n\n")] = {
                "options": call.args[1:at], "sender": call.args[at + 1], "head": head, "body": body}
        try:
            logged = bool(self.log.recv(4096))
        except BlockingIOError:
            logged = False
        return {"status": run.status, "said": run.err, "log": logged, "sent": mails.keys(),
                "count": self.database.rows("select rn_id, num from resp_freq order by 1")}, mails

    def test_which_output_differs_for_which_switch(self) -> None:
        self.log = self.system_log()
        self.rule(1, forward=["boss@example.org"], attach=["gone"], text="\N{GRINNING FACE}")
        self.rule(2, keystr="late order", key_where="body", text="Late.")
        for message, recipient, trouble, expected in DIFFERENCES:
            self.box.run_folder = self.box.empty if trouble == "no database" else self.database.run_folder
            self.box.behave(trouble if "exit" in trouble else "")
            before, mails = self.outputs(message, recipient)
            for switch in SWITCHES:
                with self.subTest(message, recipient=recipient, trouble=trouble, switch=switch):
                    after, others = self.outputs(message, recipient, switch)
                    differ = {name for name in before if before[name] != after[name]}
                    for one in mails.keys() & others.keys():
                        differ |= {name for name in mails[one] if mails[one][name] != others[one][name]}
                    self.assertEqual(" ".join(sorted(differ)), expected.get(switch, ""))

    def test_retry_later(self) -> None:
        self.box.wrapper = ["/usr/bin/python3", "-c", IGNORES_ITS_CHILDREN]
        self.rule(1, forward=["boss@example.org"], attach=["gone"])
        self.rule(2, text="Second.")
        lasting = "a" * 60 + "@example.com"  # no host name has such a label
        self.database.execute("insert into mail_aliases (mn_id, alias) values (1, repeat('a', 60))")
        for forward, first, second, recipient, status, counts in (
            ("exit 75", "exit 0", "exit 0", BOX, 75, []),
            ("exit 67", "exit 75", "exit 0", BOX, 75, []),
            ("exit 67", "exit 67", "kill -9 $$", BOX, 75, []),  # takes back both
            ("exit 67", "exit 0", "exit 75", BOX, 0, ["1", "1"]),
            ("exit 0", "exit 75", "kill -9 $$", BOX, 0, ["1", "1"]),
            ("exit 67", "exit 67", "exit 67", BOX, 0, ["1", "1"]),
            ("exit 67", "exit 0", "exit 0", lasting, 1, ["1"]),
        ):
            self.box.script(f"case $*$(cat) in *boss*) {forward};; *anna*) exit 75;; *Second*) {second};;"
                            f" *) {first};; esac")
            with self.subTest(forward=forward, first=first, second=second):
                self.configure("RETRY_LATER")
                self.database.execute("truncate resp_freq")
                run = self.deliver(recipient=recipient)
                counted = sum(self.database.rows("select num from resp_freq"), [])
                self.assertEqual((run.status, counted, len(run.leftovers)),
                                 (status, counts, 2 if status == 1 else 0))
                for name in run.leftovers:
                    (self.box.tmp / name).unlink()
        self.database.execute("truncate resp_freq; alter table resp_freq add check (rn_id <> 2)")
        self.configure("RETRY_LATER")  # and the transaction of rule 2 fails, behind the refusals for rule 1
        self.box.script("exit 67")
        self.assertEqual((self.deliver().status, self.database.rows("select * from resp_freq")), (75, []))
        self.box.run_folder = self.box.empty
        message = mail(headers=f"Received: by x; {email.utils.formatdate(time.time() - 7200)}\n")
        for modern, value, hours, status in (
            *((modern, value, None, status) for modern, value, status in (
                ("false", "true", 75), ("true", None, 75), ("false", "111", 111), ("true", "1", 1),
                ("true", "false", 0), ("true", "0", 0), ("true", "256", 0), ("true", "75x", 0),
                ("true", "-1", 0), ("false", "TRUE", 0), ("false", None, 0),
            )),
            ("true", None, "1", 0), ("true", None, "3", 75), ("true", None, "1x", 75), ("false", None, "1", 0),
        ):
            with self.subTest(modern, value=value, hours=hours):
                self.configure(MODERN=modern, RETRY_LATER=value, RETRY_HOURS=hours)
                run = self.deliver(message)
                self.assertEqual((run.status, run.leftovers), (status, []))

    def test_headers_and_envelope(self) -> None:
        self.rule(1, attach=["gone"])
        self.rule(2, text="x" * 3000)
        self.box.databytes("2000")
        self.configure("REPLY_HEADERS", "NULL_SENDER")
        run = self.deliver(mail(headers="Message-ID: <b@x>\nReferences: <a@x> <bad\n id@x>\n"))
        self.assert_answered(run, 3)  # notice, reply, oversize reply
        identities = set()
        for call in run.calls:
            self.assertEqual(call.args[1:3], ["-f", "<>"])
            lines = call.message.decode().partition("\n\n")[0].split("\nSubject: ")[1].splitlines()
            self.assertEqual([line.partition(":")[0] for line in lines[1:8]],
                             ["Date", "Message-ID", "Auto-Submitted", "X-Auto-Response-Suppress",
                              "In-Reply-To", "References", " <b@x>"])
            identity = parsed(call.message)["Message-ID"]
            self.assertRegex(identity, r"\A<[^@<>]+@example\.com>\Z")
            identities.add(identity)
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
        self.configure("MODERN", REFUSE_AUTOMATIC="false", ADDRESSED_ONLY="false")
        run = self.deliver(message)
        self.assert_answered(run, 2)
        self.assertEqual([parsed(call.message)["Subject"] for call in run.calls], ["A B: Über uns", "Re: Über uns"])
        self.configure("MODERN", REFUSE_AUTOMATIC="false", ADDRESSED_ONLY="false", READ_AS_SHOWN="false")
        self.assertEqual(self.deliver(message).calls, [])
