"""What autoresponder-explain announces is what the program then does, and it changes nothing."""

import contextlib
import json
import os
import pty
import re
import subprocess
import termios
import threading
import unittest
from collections.abc import Iterable

from support.case import BOX, SENDER, PanelCase, mail
from sandbox.database import REPOSITORY
from sandbox.box import Run

CHECKSUMS = "checksum table " + ", ".join("ovk." + name for name in (
    "clients", "domains", "domainaliases", "mail", "mail_aliases", "mail_resp", "resp_forward", "resp_attach",
    "resp_freq", "misc", "dom_param", "Parameters"))
VARYING = re.compile(rb"^(Date|Message-ID): .*\n", re.M)
MULTIPART = "Content-Type: multipart/mixed; boundary=b\n"
SCHEDULE = (REPOSITORY / "schema/resp_schedule.sql").read_text() + "insert into resp_schedule values (1, {})"


def world(*words: str, choices: str = "", message: str = mail(), sql: str = "do 0", **rule: object) -> tuple:
    """A row: what is told of the message where these are the host's choices, the change, and the rule."""
    return words, choices.split(), message, sql, rule


class Explain(PanelCase):
    def explain(self, message: bytes | str | None, recipient: str, *options: str,
                **environment: str) -> subprocess.CompletedProcess[bytes]:
        self.box.forget_calls()
        before = self.database.rows(CHECKSUMS)
        run = self.run_explain(message, *options, recipient, **environment)
        self.assertEqual(before, self.database.rows(CHECKSUMS))
        self.assertEqual((self.box.calls(), list(self.box.tmp.iterdir())), ([], []))
        return run

    def assert_told(self, page: str, words: Iterable[str]) -> None:
        for word in words:
            self.assertIn(word, page)

    def assert_refused(self, run: subprocess.CompletedProcess, words: bytes) -> None:
        self.assertEqual((run.returncode, run.stdout), (2, b""))
        self.assertIn(words, run.stderr)

    def compare(self, message: bytes | str, recipient: str = BOX) -> tuple[str, dict, Run]:
        """Explains, delivers, and compares; the page, the document, and what came of it."""
        text = self.explain(message, recipient)
        document = json.loads(self.explain(message, recipient, "--json").stdout)
        replies = [self.explain(message, recipient, "--reply", rule["id"])
                   for rule in document["rules"] if rule["outcome"] == "answered"]
        run = self.deliver(message, recipient)
        page = text.stdout.decode()
        verdict, rules = document["verdict"], document["rules"]
        told = []
        for rule in rules:
            forwarded = rule["outcome"] in ("answered", "refused", "failed")
            if forwarded and rule["forwards"]:
                told.append((recipient, rule["forwards"], None))
            if rule["outcome"] in ("answered", "failed") and rule["notice"]:
                told.append((rule["notice"]["envelope_sender"], [rule["notice"]["recipient"]], None))
            if rule["outcome"] == "answered":
                reply = replies.pop(0)
                self.assertEqual((reply.returncode, reply.stderr), (0, b""))
                told.append((rule["reply"]["envelope_sender"], [rule["reply"]["recipient"]],
                             VARYING.sub(b"", reply.stdout)))
        # A notice may go out behind its reply.
        told.sort(key=lambda plan: plan[1] == ["anna@alpha.test"])
        calls = sorted(run.calls, key=lambda call: call.args[-1] == "anna@alpha.test")
        done = []
        for call, plan in zip(calls, told + [("", [], None)] * 9):
            args = [arg for arg in call.args if arg != "-i"]
            done.append((args[2], args[3:],
                         VARYING.sub(b"", call.message) if plan[2] is not None else None))
        self.assertEqual(told, done, page)
        self.assertEqual(text.returncode, 0 if verdict["replies"] else 1, page)
        self.assertEqual(run.status, int(any(rule["outcome"] == "failed" for rule in rules)), page)
        self.assertEqual(sum(verdict[kind] for kind in ("replies", "forwards", "notices")),
                         len(run.calls), page)
        for line in run.err.replace("Abnormal exit.", "").replace("\\", "\\\\").splitlines():
            self.assertIn(line.split(": ")[-1], page)
        return page, document, run

    def test_every_way_out(self) -> None:
        folder = self.box.attachments(BOX)
        (folder / "list.txt").write_text("9.99\n" * 40)
        (folder / "kept").mkdir()
        os.mkfifo(folder / "pipe")
        evil = "-C/tmp/x@client.example"
        nested = mail("Order", "--b\n\n<none>\n--b\nContent-Type: text/html\n\n<p>the <b>pri</b>ce"
                      "</p>\n--b\nContent-Disposition: attachment\nContent-Type: text/plain\n\n"
                      "PRICE\n--b--\n", MULTIPART)
        encoded = mail("=?utf-8?B?R3LDvMOfZQ==?=", "=E9\n", "Reply-To: <ann@x.test>\nDate: today\nContent-Type:"
                       " text/plain; charset=iso-8859-1\nContent-Transfer-Encoding: quoted-printable\n")
        ignoring = "but          if case and white space played no part: "
        twice = "insert into resp_freq (rn_id, email, num) values (1, '{}', 2)"
        known, ago = twice.format(SENDER), "; update resp_freq set time_resp = now() - interval {} day"
        for number, (words, choices, message, sql, rule) in enumerate((
            # The mail
            world("joe@client.example (From)", "1 line\n", "0 of 10 answers", "rule 1 answers", "1 reply"),
            world("ann@x.test (Reply-To)", "Gr\\u{00FC}\\u{00DF}e", "today", "iso-8859-1", "quoted-printable",
                  message=encoded),
            world("Could not convert message body text from nope",
                  message=mail("=?nope?Q?x?=", "x", "Content-Type: text/plain; charset=nope\n")),
            world("said         wrong rfc1522 sequence (trailing stuff): =?utf-8?B?R3I=?=\\n\n\nMailbox",
                  message=mail("=?utf-8?B?R3I=?=\n =?utf-8?B?R3I=?=")),
            world("Could not get sender's", "no reply: Could not", message="From: <>\n\n"),
            world("refused      Field From: equial", message=mail(sender=BOX)),
            world("Return-Path is null", choices="REFUSE_AUTOMATIC", message=mail(headers="Return-Path: <>\n")),
            world("refused      Precedence is bulk", "forwards, and does not answer", ", 1 forward",
                  choices="REFUSE_AUTOMATIC", message=mail(headers="Precedence: bulk\n"), forward=["a@x.test"]),
            world("name no address of the mailbox", choices="ADDRESSED_ONLY", message=mail().replace("To:", "X:")),
            world("is the mailbox itself", choices="REFUSE_AUTOMATIC", message=mail(sender="orders@example.com")),
            world("looks like an option", message=mail(sender=evil), forward=["a@x.test"]),
            world("refused      it has been through this mailbox", "rule 1 is not reached", choices="MODERN",
                  message=mail(headers=f"X-Autoresponder-Forwarded: {BOX}\n"), forward=["a@x.test"]),
            # The rules
            world("rule 1 is switched off", "no rule is on", resp_on=None),
            world("the mailbox has no rules", sql="delete from mail_resp"),
            world("line 1: H>>ell<<o", keystr="ell", key_where="subj"),
            world("text, line 2: How >>are<< you?", message=mail(body="\nHow are you?"),
                  keystr="are", key_where="body"),
            world("not in the subject", f"{ignoring}subject, line 1: >>Hello<<", "not found",
                  keystr="hello", key_where="subj"),
            world(f"{ignoring}text, line 2: How >>ARE  you<<?", message=mail(body="\nHow ARE  you?"),
                  keystr="are you", key_where="body"),
            world(f"{ignoring}text, line 1: Caf>>e\\u{{0301}} STRASSE<< 7", keystr="\u00c9 stra\u00dfe", key_where="body",
                  message=mail(body="Cafe\u0301 STRASSE 7", headers="Content-Type: text/plain; charset=utf-8\n")),
            world("part 2, text/html", "part 2 (text/html), paragraph 1: the >>price<<",
                  "attachment, part 3 (text/plain), paragraph 1: >>PRICE<<",
                  message=nested, keystr="price", key_where="body"),
            world("part 2 (text/html), paragraph 1: the >>price<<",
                  message=nested.replace("boundary=", "boundary*0="), keystr="price", key_where="body"),
            world("part 2, text/html", "text, line 1: the >>price<<", "1 reply", choices="READ_AS_SHOWN",
                  message=nested.replace("<none>", " "), keystr="price", key_where="body"),
            world("the mail itself (text/plain), paragraph 1: >>my order<<", message=mail(body="my\norder"),
                  keystr="my order", key_where="body"),
            world("answers nobody", ans_freq="0"),
            world("2 of 2 answers today", "has had today's answers", "limit of every rule", sql=known, ans_freq="2"),
            world("0 of 2 answers", "0 of 1000 senders", sql=known + ago.format(1), ans_freq="2"),
            world("1 of 1 senders", "forgets      old@x.test", sql=twice.format("old@x.test"), mem_limit="1"),
            world('remark       key_where is "Body": neither', 'resp_on is "FALSE": only "false"', "1 reply",
                  key_where="Body", resp_on="FALSE"),
            world('ans_freq is "unlimited": as a number that is 0', 'mem_limit is "5 a day": as a number that is 5',
                  ans_freq="unlimited", mem_limit="5 a day"),
            world('content_type is "html": no type', 'charset is "klingon": cannot be used',
                  content_type="html", charset="klingon"),
            world("time         begins at 20", "it is not in its time", "no rule is on", choices="SCHEDULE",
                  sql=SCHEDULE.format("now() + interval 1 day, null, null")),
            world("time         has ended at 20", choices="SCHEDULE", sql=SCHEDULE.format("null, now(), 7")),
            world("time         now from 2020-02-02 00:00:00 until 20", "answers today; ", "1 reply",
                  choices="SCHEDULE", sql=SCHEDULE.format("'2020-02-02', now() + interval 1 day, null")),
            world("time         now\n", "2 of 2 answers in 7 days, since 20", "had the answers of its days",
                  choices="SCHEDULE", sql=f"{SCHEDULE.format('null, null, 7')};{known}{ago.format(3)}", ans_freq="2"),
            # What goes out
            world("forwards to  a@x.test\n", '"list.txt", 200 bytes', '"kept" cannot be read',
                  '"pipe" cannot be read: No such device', '"gone" is missing: No such',
                  "to anna@alpha.test from root@localhost", "Address looks like an option",
                  "1 reply, 1 forward, 1 notice",
                  forward=["a@x.test", evil, None], attach=["list.txt", "kept", "pipe", "gone"]),
            world("Address looks like an option", "1 reply\n", sql=f"update clients set email='{evil}'",
                  attach=["gone"]),
            world("This client does not exist", sql="delete from clients", attach=["gone"]),
            world("from <> to joe@client.example", choices="MODERN", message=mail(headers="Message-ID: <1@x.test>\n"),
                  charset="koi8-r", text="Привет", attach=["gone", "list.txt"]),
        )):
            with self.subTest(number=number, words=words):
                self.configure(*choices)
                self.new_panel()
                self.rule(**rule)
                self.rule(id=2, resp_on="false")
                self.database.execute(sql)
                self.assert_told(self.compare(message)[0], words)

    def test_replies(self) -> None:
        """Two rules answer; a size limit; an address without an ASCII form ends the run."""
        self.rule(attach=["gone"])
        self.rule(id=2, text="x" * 500)
        self.rule(id=3, text="y")
        self.assertIn("3 replies, 1 notice", self.compare(mail())[0])
        self.box.databytes("400")
        self.assertIn("more than 400 bytes: a short reply", self.compare(mail())[0])
        run = self.explain(mail(), BOX, "--reply", "4")
        self.assertEqual((run.returncode, run.stdout), (2, b""))
        self.database.execute("update mail_resp set resp_on = 'false' where id = 3")
        run = self.explain(mail(), BOX, "--reply", "3")
        self.assertEqual(run.returncode, 1)
        self.assertIn(b"\n\ny\n", run.stdout)
        name = "x" * 70
        self.database.execute(f"insert into mail (id, dom_id, mail_name) values (2, 1, '{name}ä')")
        for id in (4, 5):
            self.rule(id=id, mn_id=2, attach=["gone"])
        page, document, _ = self.compare(mail(), f"{name}ä@example.com")
        self.assertEqual([(rule["outcome"], len(rule["complaints"])) for rule in document["rules"]],
                         [("failed", 1), ("not reached", 0)])
        self.assertIn("IDN conversion error", page)

    def test_mailboxes(self) -> None:
        """Which lookup finds it, and what there is nearby when none does."""
        self.database.execute(
            "insert into domains (id, cl_id, name) values (2, 1, 'example.org');"
            "insert into mail (id, dom_id, mail_name) values (2, 2, 'office')")
        self.rule()
        self.configure(RECIPIENT_DELIMITER="+")
        for recipient, words in (
            ("orders@example.com", ["- looked up    mailbox orders@example.com: none",
                                    "+ looked up    alias orders@example.com: found"]),
            ("sales@example.net", ["mailbox at the alias domain sales@example.net: found"]),
            ("orders@example.net", ["alias at the alias domain orders@example.net: found",
                                    "mailbox      sales@example.com"]),
            ("sales+x@example.com", ["mailbox sales+x@example.com: none",
                                     "mailbox sales@example.com: found"]),
            ("saless@example.com", ["no mailbox and no alias", "there is     sales@example.com",
                                    "no such mailbox"]),
            ("office@example.com", ["there is     office@example.org"]),
            ("order@example.net", ["there is     orders@example.net"]),
            ("sales@parked.test", ["alias domain of example.com, and its mail is switched off",
                                    "no reply: the mail of the alias domain"]),
            ("sales@nowhere.test", ["does not know the domain", "no reply: no such domain"]),
            ("o'x\\@example.com", ["no such mailbox"]),
            ("sale+x@example.com", ["there is     sales@example.com\n",
                                    "AUTORESPONDER_RECIPIENT_DELIMITER is not chosen"]),
        ):
            if "sale+" in recipient:
                self.configure()
            with self.subTest(recipient):
                self.assert_told(self.compare(mail(), recipient)[0], words)

    def test_what_cannot_be_told(self) -> None:
        self.rule()
        shadow = self.box.etc / ".ovk.shadow"
        for change, words in (
            (lambda: self.database.execute("drop table resp_attach"), b"resp_attach' doesn't exist"),
            (lambda: self.database.execute("drop table mail_aliases"), b"Unable to query: "),
            (shadow.unlink, b"password file"),
        ):
            change()
            for options in ((), ("--json",), ("--reply", "1")):
                run = self.explain(mail(), "orders@example.com" if b"query" in words else BOX, *options)
                self.assert_refused(run, words)
            self.new_panel()
            self.rule()
        for arguments, words in (((), b"usage: "), (("--nonsense", "a@b"), b"usage: "),
                                 ((BOX, "/none"), b"/none: No such file"), ((BOX, "/"), b"/: Is a")):
            self.assert_refused(self.run_explain(None, *arguments), words)

    def test_statements(self) -> None:
        """Selects alone, in a transaction that cannot write."""
        self.rule(attach=["gone"], forward=["a@x.test"], mem_limit="0")
        self.database.listen()
        self.explain(mail(), BOX)
        heard = [statement for statement in self.database.heard() if "hecksum" not in statement]
        self.assertEqual(heard[:3], ["SET NAMES utf8",
                                     "set session transaction isolation level repeatable read",
                                     "start transaction with consistent snapshot, read only"])
        self.assertEqual([s for s in heard[3:] if not s.startswith("select ")], [])
        self.assertGreater(len(heard), 9)
        self.assertNotIn("GET_LOCK", str(heard))

    def test_nobody_waits_for_what_it_reads(self) -> None:
        self.rule()
        self.database.execute("set global tx_isolation = 'SERIALIZABLE'")
        self.database.execute("set global innodb_lock_wait_timeout = 1")
        self.addCleanup(self.database.execute, "set global tx_isolation = default")
        self.addCleanup(self.database.execute, "set global innodb_lock_wait_timeout = default")
        self.addCleanup(self.database.execute, "rollback")
        self.database.execute("begin; select * from ovk.mail_resp for update")
        self.assertIn(b"1 reply\n", self.explain(mail(), BOX).stdout)

    def test_what_cannot_be_sent(self) -> None:
        self.rule(text="x" * 5000)
        for options in ((BOX,), ("--reply", "1", BOX)):
            run = self.run_explain(mail(), *options, within=["/usr/bin/prlimit", "--fsize=1000"])
            self.assertEqual(run.returncode, 2 if "--reply" in options else 1)
            self.assertIn(b"no reply: the reply fails\n", run.stdout + run.stderr)
        self.box.sendmail = None
        run = self.explain(mail(), BOX)
        self.assertEqual(run.returncode, 1)
        self.assertIn(b"- no reply: sendmail takes nothing: /usr/sbin/sendmail: No such file", run.stdout)

    @unittest.skipIf(os.geteuid() != 0, "only root can become another user")
    def test_as_whom_it_looks(self) -> None:
        self.rule()
        self.configure("NULL_SENDER", RETRY_LATER="111")
        self.box.databytes("1000000")
        self.box.extra += ["--ro-bind", "/etc/passwd", "/etc/passwd"]
        for folder in ("/etc", "/run", "/var"):
            self.box.extra += ["--chmod", "0755", folder]
        self.box.tmp.chmod(0o777)
        for options, words in (
            ((), ["! looks as     root, who may read", "+ reads        /etc/ovk/ovk.conf\n",
                  "+ reads        /var/qmail/control/databytes\n", "envelope     from <>",
                  "switches     AUTORESPONDER_NULL_SENDER, AUTORESPONDER_RETRY_LATER 111, "]),
            (("--user", "nobody"), ["  looks as     nobody\n", "envelope     from sales@example.com",
                                    "- reads        /etc/ovk/ovk.conf: Permission denied\n",
                                    "switches     none\n", "1 reply"]),
        ):
            run = self.explain(mail(), BOX, *options)
            self.assert_told((run.stdout + run.stderr).decode(), words)
            (self.box.etc / "ovk.conf").chmod(0o600)
        self.assert_refused(self.explain(mail(), BOX, "--user", "none"), b"cannot become none: no such user")

    @unittest.skipIf(os.environ["OVK_SANITIZE"] == "1", "AddressSanitizer takes terabytes of address space")
    def test_tenant_and_stranger_cannot_fill_memory_or_screen(self) -> None:
        """8 MB of mail and twenty rules, in each place that is shown."""
        for rule in range(1, 21):
            self.rule(id=rule, keystr=f"w{rule}\u00e9" * 9, key_where="body" if rule % 2 else "subj")
        big = 8_000_000
        shape = {"subject": mail("W7\u00c9" * (big // 4)), "word": mail(body="w" * big),
                 "words": mail(body="w7\u00e9" * 9 + " wort" * (big // 5) + " W7\u00c9" * 9),
                 "lines": mail(body="w7\n" * (big // 3)), "complaints": mail("=?utf-8?B?" + "!" * big),
                 "marks": mail(body="w7e\u0301" + "\u00ad" * (big // 2) + "W7\u00c9" * 9),
                 "type": mail(body="w", headers=f"Content-Type: text/plain; x={'y' * big}\n"),
                 "part": mail(body="--b\nContent-Type: text/" + "y" * big + "\n\n" + "W7\u00c9" * 9 + "\n--b--\n",
                              headers=MULTIPART)}
        for name, message in shape.items():
            for options in ((), ("--json",)):
                with self.subTest(name, options=options):
                    run = self.run_explain(message, *options, BOX,
                                           within=["/usr/bin/prlimit", "--as=200000000", "--cpu=20"])
                    self.assertEqual((run.returncode, run.stderr), (1, b""))
                    self.assertLess(len(run.stdout), 500_000)
        run = self.run_explain(mail(body="w" * big), BOX, within=["/usr/bin/prlimit", "--as=60000000"])
        self.assert_refused(run, b"autoresponder-explain: there is not enough memory\n")

    def test_without_a_mail(self) -> None:
        self.rule(keystr="x", key_where="subj")
        run = self.explain(None, BOX)
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        self.assertIn(b"rule 1 is on", run.stdout)
        self.assertIsNone(json.loads(self.explain(None, BOX, "--json").stdout)["mail"])
        self.assertEqual(self.explain(None, "nobody@example.com").returncode, 1)
        for message, rule, words in ((None, "1", b"no reply: there is no mail\n"),
                                     (mail(), "", b"no reply: no rule that is on matches\n")):
            self.assert_refused(self.explain(message, BOX, "--reply", rule), words)
        self.configure("SCHEDULE")
        self.database.execute(SCHEDULE.format("null, now(), null"))
        self.assertIn(b"- rule 1 stays silent: it is not in its time\n", self.explain(None, BOX).stdout)
        rule = json.loads(self.explain(None, BOX, "--json").stdout)["rules"][0]
        self.assertEqual((rule["outcome"], rule["schedule"]["time"]), ("off", "after"))

    def test_terminal(self) -> None:
        """Marks, colours and the width of a terminal; a long subject takes no longer than others."""
        self.rule()
        ours, theirs = pty.openpty()
        termios.tcsetwinsize(theirs, (24, 60))
        with subprocess.Popen(self.explain_command(BOX), stdin=subprocess.PIPE, stdout=theirs) as run:
            os.close(theirs)
            threading.Thread(target=lambda: (run.stdin.write(mail("word " * 200_000).encode()),
                                             run.stdin.close())).start()
            late = threading.Timer(20, run.kill)
            late.start()
            page = b""
            with contextlib.suppress(OSError):  # the end of a terminal
                while block := os.read(ours, 65536):
                    page += block
            late.cancel()
        os.close(ours)
        lines = re.sub(r"\x1b\[\d+m", "", page.decode()).splitlines()
        self.assertEqual((run.returncode, max(map(len, lines))), (0, 60))
        self.assertIn(b"\x1b[32m+\x1b[0m 1 reply", page)

    def test_strangers_texts(self) -> None:
        """Nothing that a terminal would obey gets there, whatever field it stands in."""
        bad = "\x1b]0;evil\x07\u202e\x9b31m\r\u2028\x00\x7f\\"
        unseen = "\u200b\ue000\u034f\ufe0f\u3164\u115f\u2800\u180b\U000e0100"
        marked = "a" + "\u0301" * 6  # as many marks as any letter takes
        self.rule(keystr="\x1b[2J", key_where="body", attach=["\x1b[1m"],
                  forward=["a\x1b@x.test"])
        message = mail(f"{unseen}\\{marked}\u0301b\u0301{bad}", f"a\x1b[2Jb\t{bad}\n",
                       f"Date: {bad}\nContent-Type: text/plain; charset=utf-8\n",
                       "joe\udcff@client.example").encode(errors="surrogateescape")
        for environment in ({}, {"LANG": "de_DE.UTF-8"}):
            run = self.explain(message, BOX, **environment)
            page = run.stdout.decode()
            self.assertEqual([c for c in page if c in unseen + "\x1b\x07\u202e\x9b\r\u2028\x00\x7f"], [])
            self.assertIn("joe\\xFF@client.example (From)", page)
            self.assertIn("a>>\\x1B[2J<<b\\t\\x1B]0;evil\\x07\\u{202E}", page)
            self.assertIn("".join(f"\\u{{{ord(c):04X}}}" for c in unseen) + "\\\\a", page)
            self.assertEqual(f"{marked}\\u{{0301}}b\u0301\\x1B" in page, "LANG" in environment)
        self.assertTrue(self.explain(mail("Grüße"), BOX).stdout.isascii())
        self.assertTrue(self.explain(message, BOX, "--json").stdout.isascii())
        self.assertIn("Grüße", self.explain(mail("Grüße"), BOX, LC_ALL="C.UTF-8").stdout.decode())
