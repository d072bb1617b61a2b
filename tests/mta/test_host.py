"""Mails that go in by SMTP, through a mail server and the program and out through that server's
sendmail, and what of them arrives in Maildirs, read by Python's parser. As delivered, with the program
run by a user of its own; and, with the set-uid bit, as a modern host has it, where all mails come while the
program cannot reach the database."""

import contextlib
import datetime
import email.message
from email.header import Header
import os
import re
import shutil
import subprocess
import time
import unittest
from collections.abc import Iterator

from host import Exim, Host, Postfix
from sandbox.database import REPOSITORY, Database

NAME = "postfix" if os.environ["OVK_SERVER"].endswith("postfix") else "exim"
PRICES = bytes(range(256)) * 300 + b"end"
ATTACHED = {"Preisliste für Bücher.bin": PRICES, "empty": b""}
DELIVERED = {"offers": {"multipart"}, "orders": {"eightbit"},
             "sales": {"plain", "list", "null", "alias", "colon", "plus", "MAILER-DAEMON"}}
FORWARDED = {"plain", "multipart", "eightbit", "list", "null", "idn", "ascii", "alias",
             "plus"}
DELIMITER = "AUTORESPONDER_RECIPIENT_DELIMITER +\n"
REFERENCES = "<first@client.test> <second@client.test>"
BROKEN = "x" * 150  # a line of the log longer than what Postfix keeps of one
DEAR = "漢字のご注文\n.\n以上\n"
CYRILLIC = ("Длинная тема письма, " * 15)[:300]
# Sender's name at client.test, envelope sender where it is another, recipient.
ROUTES = [("plain", None, "sales@example.com"), ("multipart", None, "offers@example.com"),
          ("eightbit", None, "orders@example.com"), ("list", None, "sales@example.com"),
          ("null", "", "sales@example.com"), ("idn", None, "sales@bücher.example"),
          ("ascii", None, "sales@xn--bcher-kva.example"), ("circle", None, "circle@example.com"),
          ("storm", None, "storm@example.com"), ("marked", None, "storm-c@example.com"), ("twice", None, "info@example.com"),
          ("alias", None, "office@alias.example"), ("quiet", None, "quiet@example.com"),
          ("colon", None, '"sales:path=evil"@example.com'), ("big", None, "big@example.com"),
          ("plus", None, "sales+x@example.com"), ("near", None, "near@example.com"),
          ("MAILER-DAEMON", "", "sales@example.com")]
# Mail to the first of them goes to the program, on hosts of every shape.
ADDRESSES = ["sales@example.com", "Sales@EXAMPLE.com", "office@alias.example", "sales@xn--bcher-kva.example",
             "panel@example.com", "quiet@example.com", "s\N{LATIN SMALL LETTER A WITH ACUTE}les@example.com",
             '"sales "@example.com', "root@localhost"]
TAKEN = ADDRESSES[:4]
SECRETS = "sed -n 's/^password = //p; s#.*/ovk/autoresponder_lookup/\\(.*\\){$#\\1#p' /etc/*/autoresponder*.[cl]*"
FIRST = """mkdir /etc/panel
echo 'example.com here' >/etc/panel/domains
echo 'panel@example.com sales@example.com' >/etc/panel/aliases
echo 'example.net error:no' >/etc/panel/transport
"""
PASTED = (REPOSITORY / f"tests/mta/pasted.{NAME}").read_text()
SHAPES = {  # name, what an administrator has in front of the setup, options
    "postfix": {
        "as Debian leaves it": "",
        "maps and transports of its own": FIRST + """cat >>/etc/postfix/main.cf <<'END'
virtual_alias_maps = texthash:/etc/panel/aliases,

# more of them
  inline:{x@example.com=y@example.com}
transport_maps=
  texthash:/etc/panel/transport
# the end
END""",
        "domains in maps and among the host's own": FIRST + """
postconf -e 'virtual_mailbox_domains = example.org alias.example,xn--bcher-kva.example' 'recipient_delimiter = -' \\
    'mydestination = $myhostname, localhost, texthash:/etc/panel/domains'"""},
    "exim": {
        "as Debian leaves it": "",
        "not split": "sed -i s/true/false/ /etc/exim4/update-exim4.conf.conf\nupdate-exim4.conf.template -r\n"
                     "update-exim4.conf",
        "a database of its own": "echo 'mysql_servers = localhost/panel/exim/secret' >/etc/exim4/conf.d/main/50_panel\n"
                                 "update-exim4.conf"},
}
WRONG = [("drop user autoresponder_lookup@localhost", "account 'autoresponder_lookup'"),
         ("revoke delete on resp_freq from admin@localhost", "rights of .*admin"),
         ("alter table mail_aliases drop key alias", "key of mail_aliases alias"),
         ("alter table resp_freq drop primary key", "key of resp_freq"),
         ("alter table mail_resp drop column reply_to", "mail_resp reply_to"),
         ("drop table misc", "tables misc"),
         ("insert into domains set id = 9, cl_id = 1, name = \"new.example\"; insert into mail values (99, 9, \"x\"); "
          "insert into mail_resp (mn_id, resp_on) values (99, \"true\"); insert into domainaliases set dom_id = 9, "
          "mail = \"true\", name = \"${run{/bin/touch /etc/taken}}\"", "new.example"),
         ("update mail_resp set resp_on = \"false\"", "not to the program"),
         ("/bin/chmod 644 /etc/ovk/.ovk.shadow", "root's alone"),
         ("/bin/echo other >/etc/ovk/.ovk.shadow", "the password of admin"),
         ("/usr/bin/setfacl -b /etc/ovk/.ovk.shadow; chmod 600 /etc/ovk/.ovk.shadow", "autoresp may read"),
         ("/bin/echo 1 >/var/qmail/control/databytes", "databytes"),
         ("/bin/mkdir -p -m 700 /var/qmail/mailnames/example.com/later/@attachments", "access to the repositories"),
         ("/usr/sbin/userdel autoresp", "user autoresp")]
# What a tenant has, and what is none of his business.
TENANT = """cd /var/qmail/mailnames/example.com
rm -rf tenant
mkdir -p -m 700 tenant/@attachments tenant/@attachments-2
cd tenant/@attachments-2
touch ../@attachments/file link hard shut shared
chmod 660 shut shared
setfacl -m u:nobody:rw,m:- shut
setfacl -m u:nobody:rw,m:r shared
"""
VICTIM = """mkdir -m 700 /etc/victim
touch /etc/victim/file /etc/victim/hard
setfacl -m u:autoresp:x /etc/victim
"""
# What garbles or cuts mail as delivered.
MODERN = [("kanji", None, "modern@example.com"), ("smile", None, "modern@example.com")]


def header(name: str, recipient: str) -> str:
    return (f"From: {name} <{name}@client.test>\nTo: <{recipient}>\n"
            f"Message-ID: <{name}@client.test>\n"
            "Date: Mon, 2 Mar 2026 10:00:00 +0100\nMIME-Version: 1.0\n")


def multipart_mail(name: str, recipient: str) -> bytes:
    mail = email.message.EmailMessage()
    mail["Subject"] = "Anfrage: Stühle – eilig"
    mail.set_content("Was ist Ihr Preis für 3 Stühle?\nSchöne Grüße\n", cte="quoted-printable")
    mail.add_attachment(PRICES, maintype="image", subtype="png", filename="Büro.png")
    return header(name, recipient).replace("MIME-Version: 1.0\n", "").encode() + mail.as_bytes()


def incoming(name: str, recipient: str) -> bytes:
    """The mail of a route, with bare line feeds. No line is a lone dot but in those that are sent with
    standard mail on: sendmail ends a mail there unless it is given -i."""
    if name == "multipart":
        return multipart_mail(name, recipient)
    if name == "kanji":
        return (header(name, recipient) + f"Subject: {Header('ご注文', 'iso-2022-jp').encode()}\n"
                f"Content-Type: text/plain; charset=iso-2022-jp\n\n{DEAR}").encode("iso-2022-jp")
    if name == "smile":
        return (header(name, recipient) + f"Subject: {Header(CYRILLIC, 'utf-8').encode()}\n"
                "Content-Type: text/plain; charset=utf-8\n\nA late\norder \N{GRINNING FACE}\n").encode()
    if name == "eightbit":
        subject = "=?koi8-r?B?zs/X2cog2sHLwdo=?="  # "new order"
        return (header(name, recipient) + f"Subject: {subject}\n"
                "Content-Type: text/plain; charset=koi8-r\nContent-Transfer-Encoding: 8bit\n\n"
                "Заказ: три стула.\n").encode("koi8-r")
    more = {"plain": f"References: {REFERENCES}\n",
            "marked": "x-autoresponder-mailbox:\tSTORM@example.com \n",
            "list": "List-Id: <talk.client.test>\nPrecedence: bulk\n"}.get(name, "")
    subject = f"=?{BROKEN}" if name == "alias" else f"Hello from {name}"
    return (header(name, recipient) + f"Subject: {subject}\n{more}\n"
            "How are you?\n..two dots\n.one\nFrom here on\n").encode()


MAILS = {name: incoming(name, recipient) for name, _, recipient in ROUTES + MODERN}
host: Host


def setUpModule() -> None:
    """The documents' way, from an empty database to an answered mail."""
    global database, host, before, printed, first_answers
    database = Database()
    unittest.addModuleCleanup(database.close)
    database.execute("drop user 'admin'@'localhost'")
    host = (Postfix if NAME == "postfix" else Exim)(os.environ["OVK_SERVER"], os.environ["OVK_PROGRAM"], database)
    before = state()
    printed = host.run(f"autoresponder-setup --print database {NAME}")
    host.paste("docs/MAIL-SERVERS.md")
    host.settle()
    first_answers = host.replies("you")
    for name, content in ATTACHED.items():
        attach("offers", name, content)
    limit = int((host.root / "var/qmail/control/databytes").read_text())
    attach("near", "file", bytes((limit - 3000) // 61 * 45))  # in Base64 45 bytes take 61
    attach("big", "file", bytes(12 << 20))
    attach("modern", "見積書.bin", PRICES)


def attach(mailbox: str, name: str, content: bytes) -> None:
    path = host.root / f"var/qmail/mailnames/example.com/{mailbox}/@attachments" / name
    path.write_bytes(content)


class FirstSteps(unittest.TestCase):
    def test_the_first_mail_is_answered(self) -> None:
        self.assertEqual([(answer["From"], answer["Subject"], answer.get_content().rstrip())
                          for answer in first_answers],
                         [("sales@example.com", "Re: First mail",
                           "Thank you, we read it today – promised.")])

    def test_what_the_document_shows_is_printed(self) -> None:
        shown = re.findall(rf"^```{NAME}\n(.*?)^```$", (REPOSITORY / "docs/MAIL-SERVERS.md").read_text(), re.M | re.S)
        self.assertTrue(shown)
        for block in shown:
            self.assertIn(block, printed)

    def test_the_sample_loads_in_any_locale(self) -> None:
        host.run("cd /usr/share/doc/autoresponder/examples\nmariadb -e 'create database sample'\n"
                 "cat panel.sql sample.sql | mariadb sample")
        self.assertEqual(database.rows("select keystr from sample.mail_resp where id = 8"), [["Grüße"]])


def begin(variables: str, *tables: str) -> None:
    host.begin(f"ORVEK_MAILNAMES_D /var/qmail/mailnames\n{DELIMITER}{variables}")
    database.load("panel.sql", *tables, "../tests/mta/rules.sql")


def send(routes: list[tuple[str, str | None, str]]) -> int:
    """How many of them ask the database, if the host refuses automatic mail."""
    taken = [route for route in routes if route[0] not in host.not_taken]
    for name, envelope_sender, recipient in taken:
        host.send(f"{name}@client.test" if envelope_sender is None else envelope_sender, recipient,
                  MAILS[name])
    return sum(name not in ("quiet", "MAILER-DAEMON", "null", "marked") for name, *_ in taken)


class Mails:
    """What holds in both runs."""

    counts = {"MAILER-DAEMON": 0, "quiet": 0, "marked": 0}

    def reply(self, name: str) -> email.message.EmailMessage:
        """The one reply to a sender, without a fault that the parser knows."""
        replies = host.replies(name)
        self.assertEqual(len(replies), 1)
        for part in replies[0].walk():
            self.assertEqual(part.defects, [])
            for field, value in part.items():
                if field != "Content-Disposition":  # file names are encoded words in quotes
                    self.assertEqual(value.defects, (), field)
        return replies[0]

    def assert_text(self, part: email.message.EmailMessage, content_type: str, charset: str,
                    text: str) -> None:
        self.assertEqual((part.get_content_type(), part.get_content_charset(),
                          part.get_content().rstrip("\n")), (content_type, charset, text))

    def assert_header(self, name: str, mailbox: str, subject: str) -> None:
        reply = self.reply(name)
        self.assertEqual((reply["From"], reply["To"], reply["Subject"]),
                         (mailbox, f"{name}@client.test", subject))
        self.assert_manners(reply, name, mailbox)

    def test_plain(self) -> None:
        self.assert_header("plain", "sales@example.com", "Re: Hello from plain")
        self.assert_text(self.reply("plain"), "text/plain", "utf-8",
                         "Danke – schöne Grüße!\n.. to all\nFrom us")

    def test_multipart_with_attachments(self) -> None:
        self.assert_header("multipart", "offers@example.com", "Angebot: Anfrage: Stühle – eilig")
        reply = self.reply("multipart")
        text, *files = reply.iter_parts()
        self.assert_text(text, "text/html", "utf-8", "<p>Unser Angebot für Sie.</p>")
        self.assertEqual({file.get_filename(): file.get_content() for file in files}, ATTACHED)
        self.assertEqual(reply["Reply-To"], "sales@example.com")

    def test_eightbit(self) -> None:
        self.assert_header("eightbit", "orders@example.com", "Re: новый заказ")
        self.assert_text(self.reply("eightbit"), "text/plain", "koi8-r", "Ваш заказ принят.")

    def test_international_domain(self) -> None:
        for name in {"idn", "ascii"} - host.not_taken:
            self.assert_header(name, "sales@xn--bcher-kva.example", f"Re: Hello from {name}")
            self.assert_text(self.reply(name), "text/plain", "iso-8859-1", "Bücher, Bücher!")

    def test_notice(self) -> None:
        notice = self.reply("clara")
        self.assertIn("terms.pdf\n", notice.get_content())
        self.assertEqual((notice["From"], notice["To"]),
                         ("sales@example.com", "clara@client.test"))

    def test_forwards_equal_the_originals(self) -> None:
        forwards = {re.search(rb"^From: ([\w-]+)", mail, re.M)[1].decode(): mail
                    for mail in host.mailbox("colleague")}
        self.assertEqual(set(forwards), self.forwarded - host.not_taken)
        self.assertEqual(len(host.mailbox("archive")), 1)
        recipients = {name: recipient for name, _, recipient in ROUTES + MODERN} | self.forwarded_from
        for name, mail in forwards.items():
            mail, marks = re.subn(rb"^X-Autoresponder-Mailbox: \S+@\S+\n", b"", mail, flags=re.M)
            self.assertEqual((mail[-len(MAILS[name]) - 1:], marks), (MAILS[name] + b"\n", 1))
            returns = re.match(rb"Return-Path: <(.*)>\n", mail, re.I)[1].decode()
            self.assertEqual(returns, recipients[name])

    def test_a_forward_to_the_mailbox_itself_ends(self) -> None:
        # Under whichever of its names; and who marks a mail himself is not told of it either.
        self.assertEqual([len(host.mailbox(name)) for name in ("circle-box", "circle", "storm-box", "storm", "marked")],
                         [2, 1, 1 + 4 + 1, 1, 0], host.said())

    def test_the_same_name_in_two_domains_is_no_circle(self) -> None:
        self.assertEqual(sorted(reply["From"] for reply in host.replies("twice")), self.answers_twice)
        self.assertEqual([len(host.replies(name)) for name in ("info", "info-org")], [1, 1])

    def test_replies_up_to_the_servers_limit_go_out(self) -> None:
        limit = int((host.root / "var/qmail/control/databytes").read_text())
        (near,), (big,) = host.mailbox("near"), host.replies("big")
        self.assertGreater(len(near), limit * .99)
        self.assertIn("size exceeds databytes limit", big.as_string())

    def test_who_is_answered(self) -> None:
        replies = {name: len(host.mailbox(name)) for name in MAILS}
        counts = self.counts | dict.fromkeys(host.not_taken, 0)
        self.assertEqual(replies, {name: counts.get(name, 1) for name in replies}, host.said())

    def test_mailboxes_get_their_mail_once(self) -> None:
        for mailbox, names in self.delivered.items():
            self.assertEqual(sorted(mail["From"].addresses[0].username for mail in host.replies(mailbox)),
                             sorted(names - host.not_taken))

    def test_a_recipient_is_one_to_the_program_whatever_is_in_it(self) -> None:
        if "colon" not in host.not_taken:
            self.assertIn(self.colon, host.said())

    def test_the_system_log_says_why(self) -> None:
        said = [re.split(r"autoresponder(?:\[\d+\])?: ", line, maxsplit=1)[1] for line in host.logged]
        for line in ["Field From: contains MAILER-DAEMON", *self.reasons]:
            self.assertIn(line, said, host.said())
        self.assertNotIn("Mailname not found", host.said())  # started for mailboxes with a rule only

    def test_no_files_stay_in_tmp(self) -> None:
        self.assertEqual(list((host.root / "tmp").iterdir()), [])


class AsDelivered(Mails, unittest.TestCase):
    # Sendmail takes no such sender as colon's.
    counts = Mails.counts | {"colon": 0, "twice": 2, "kanji": 0, "smile": 0}
    reasons = [f"wrong rfc1522 sequence (no charset): =?{BROKEN}"]
    colon = 'autoresponder: exim: bad -f address "sales:path=evil@example.com"'
    forwarded = FORWARDED
    forwarded_from: dict[str, str] = {}
    answers_twice = ["info@example.com", "info@example.org"]
    delivered = DELIVERED

    @classmethod
    def setUpClass(cls) -> None:
        begin("")
        send(ROUTES)
        host.settle()

    def assert_manners(self, reply: email.message.EmailMessage, name: str, mailbox: str) -> None:
        self.assertEqual(reply["Return-Path"], f"<{mailbox}>")
        for field in ("Auto-Submitted", "X-Auto-Response-Suppress", "In-Reply-To", "References"):
            self.assertNotIn(field, reply)


class Schedule(unittest.TestCase):
    def test_a_rule_begins(self) -> None:
        """And the setup gives the program the right to the table."""
        begin("AUTORESPONDER_SCHEDULE true\n", "resp_schedule.sql")
        host.run("autoresponder-setup database")
        database.execute("insert into ovk.resp_schedule (rn_id, begins) values (1, now() + interval 8 second)")
        for name in ("plain", "copy"):
            host.send(f"{name}@client.test", "sales@example.com", MAILS["plain"].replace(b"plain", name.encode()))
            host.settle()
            database.rows("select sleep(greatest(timestampdiff(second, now(), begins), 0)) from ovk.resp_schedule")
        self.assertEqual([len(host.mailbox(name)) for name in ("plain", "copy", "colleague", "sales")], [0, 1, 1, 2],
                         host.said())


class Modern(Mails, unittest.TestCase):
    counts = Mails.counts | {"list": 0, "null": 0, "smile": 2}
    reasons = ["Not answered: List-Id is present",
               "Neither answered nor forwarded: Return-Path is null"]
    forwarded = FORWARDED - {"null"} | {"kanji", "colon"}
    colon = 'exit status 75 for sales:path=evil@example.com'  # at first
    forwarded_from = {"idn": "sales@xn--bcher-kva.example"}
    answers_twice = ["info@example.com"]  # the only one that the mail names
    delivered = DELIVERED | {"modern": {"kanji", "smile"}}

    @classmethod
    def setUpClass(cls) -> None:
        host.run("dpkg-statoverride --update --add root autoresp 4750 /usr/lib/ovk/autoresponder")
        begin("AUTORESPONDER_MODERN true\n")
        host.outage(database, lambda: send(ROUTES + MODERN))
        host.settle()

    def test_nothing_is_garbled_or_cut(self) -> None:
        reply = self.reply("kanji")
        text, file = reply.iter_parts()
        self.assertEqual(reply["Subject"], "Re: ご注文")
        self.assert_text(text, "text/plain", "iso-2022-jp", "お返事\n.\nEnd")
        self.assertEqual((file.get_filename(), file.get_content()), ("見積書.bin", PRICES))
        texts = set()
        for reply in host.replies("smile"):
            self.assertEqual((reply["Subject"], reply.defects, reply["Subject"].defects),
                             ("Re: " + CYRILLIC.rstrip(), [], ()))
            texts.add(reply.get_content().rstrip("\n"))
        self.assertEqual(texts, {"\N{GRINNING FACE} danke\n.\nEnd", "Seen."})

    def assert_manners(self, reply: email.message.EmailMessage, name: str, mailbox: str) -> None:
        self.assertEqual(reply["Return-Path"], "<>")
        self.assertEqual((reply["Auto-Submitted"], reply["X-Auto-Response-Suppress"],
                          reply["In-Reply-To"]), ("auto-replied", "All", f"<{name}@client.test>"))
        before = REFERENCES + " " if name == "plain" else ""
        self.assertEqual(reply["References"], f"{before}<{name}@client.test>")
        domain = "xn--bcher-kva.example" if name in ("idn", "ascii") else "example.com"
        self.assertTrue(reply["Message-ID"].endswith(f"@{domain}>"))
        age = datetime.datetime.now(datetime.timezone.utc) - reply["Date"].datetime
        self.assertLess(abs(age), datetime.timedelta(minutes=10))

    def test_a_set_uid_start_does_not_heed_its_callers_environment(self) -> None:
        message = MAILS["plain"].replace(b"plain", b"you").replace(b"sales@example.com", b"info@example.org")
        subprocess.run(["chroot", "--userspec=autoresp:autoresp", host.root, "/usr/bin/env", "-i",
                        "MAIL_CONFIG=/nowhere", "RESP_RECIPIENT=info@example.org",
                        "/usr/lib/ovk/autoresponder"], input=message, check=True)
        host.settle()
        self.assertEqual(len(host.mailbox("you")), 1)


class Outage(unittest.TestCase):
    def test_without_a_database_mail_for_the_hosts_own_domains_waits_and_no_other(self) -> None:
        begin("AUTORESPONDER_MODERN true\n")
        database.stop()
        for recipient in ("outside@outside.test", "mail@localhost", "sales@example.com"):
            host.run(f"printf 'From: outside@outside.test\\nTo: {recipient}\\n\\nHow do you do?\\n' | "
                     f"sendmail -f outside@outside.test {recipient}")
        end = time.monotonic() + 30
        while not (host.mailbox("outside") and host.mailbox("mail")) and time.monotonic() < end:
            time.sleep(0.05)
        arrived = [len(host.mailbox(name)) for name in ("outside", "mail", "sales")]
        database.start()
        host.run(host.flush)
        host.settle()
        now = [len(host.mailbox(name)) for name in ("outside", "mail", "sales")]
        self.assertEqual((arrived, now), ([1, 1, 0], [2, 1, 1]), host.said())


class Withdrawal(unittest.TestCase):
    """Runs last."""

    @classmethod
    def setUpClass(cls) -> None:
        begin("")
        database.execute("delete from ovk.domainaliases where dom_id = 2")  # the other form of its name

    def test_1_everything_goes_and_what_modern_gave_as_well(self) -> None:
        host.run(f"autoresponder-setup undo {host.name} database\nfind /var/qmail/mailnames -type f -delete")
        assert_same(self, state(), before)

    def test_2_hosts_of_every_shape(self) -> None:
        for name, script in SHAPES[host.name].items():
            with self.subTest(name), shaped(script):
                had = state()
                host.run(f"umask 077\nautoresponder-setup database {host.name}")
                assert_set_up(self)
                host.run(f"autoresponder-setup undo {host.name} database")
                assert_same(self, state(), had)

    def test_2_what_a_tenant_exchanges_meanwhile_and_whom_he_lets_in(self) -> None:
        """What his links lead to stays as it is, and others have the rights to his files that they had."""
        for name in ("find", "setfacl"):
            (host.root / "root" / name).mkdir()
            shutil.copy(REPOSITORY / "tests/mta/exchange", host.root / "root" / name / name)
            with shaped(f"autoresponder-setup database {host.name}\n{VICTIM}"):
                for verb, has in (("rights tenant@example.com", True), (f"undo {host.name} database", False)):
                    with self.subTest(verb, stand_in=name):
                        host.run(TENANT + ("" if has else "autoresponder-setup rights\n"))
                        had = host.run("getfacl -npR /etc/victim")
                        host.run(f"PATH=/root/{name}:$PATH autoresponder-setup {verb}")
                        self.assertEqual(host.run("getfacl -npR /etc/victim"), had)
                        lists = host.run("cd /var/qmail/mailnames/example.com/tenant\ntest -L @attachments\n"
                                         "cd @attachments-2\ngetfacl -c shut shared")
                        self.assertRegex(lists, r"\nuser:nobody:.*---\n(.*\n)*user:nobody:rw-\t#effective:r--\n")
                        self.assertEqual(lists.count("autoresp"), 2 * has)
            shutil.rmtree(host.root / "var/qmail/mailnames/example.com/tenant")

    def test_2_two_at_once(self) -> None:
        said = host.run("flock /run/autoresponder-setup.lock autoresponder-setup undo database 2>&1 || :")
        self.assertIn("another autoresponder-setup is at work", said)

    def test_3_a_host_with_the_lines_of_1_1(self) -> None:
        with shaped("autoresponder-setup database\n" + PASTED):
            said = host.run(f"autoresponder-setup database {host.name}")
            self.assertIn(f"account '{host.name}'@'localhost' before", said)
            assert_set_up(self)
            host.run(f"autoresponder-setup undo {host.name} database")
            left = subprocess.run(["grep", "-rl", "autoresp", host.root / "etc/postfix", host.root / "etc/exim4"],
                                  capture_output=True, text=True).stdout
            self.assertEqual(left, "")

    def test_4_a_database_that_has_a_password_and_passwords_of_every_letter(self) -> None:
        password = "".join(map(chr, range(32, 127)))
        sql = password.replace("\\", "\\\\").replace("'", "''")
        with shaped("mkdir /etc/ovk"):
            for name in ("root/password", "etc/ovk/.ovk.shadow"):
                (host.root / name).write_text(password + "\n")
                (host.root / name).chmod(0o600)
            database.execute(f"alter user root@localhost identified by '{sql}'")
            host.run(f"autoresponder-setup --password-file /root/password database {host.name}")
            assert_set_up(self, "--password-file /root/password")
            host.run(f"autoresponder-setup --password-file /root/password undo database {host.name}")


    def test_5_a_check_names_what_is_wrong(self) -> None:
        """And what was pasted is as good as what was run. The last test: nothing is put right."""
        host.run("rm -rf /etc/ovk")
        options = "--password-file /root/password"
        lines = host.run(f"autoresponder-setup {options} --print database {host.name}")
        host.run(lines.replace("PASSWORD", "pasted-by-hand"))
        assert_set_up(self, options)
        for broken, told in WRONG:
            with self.subTest(broken):
                script = broken if broken[0] == "/" else f"mariadb --password=\"$(cat /root/password)\" ovk -e '{broken}'"
                host.run(script)
                said = host.run(f"autoresponder-setup {options} check sales@example.com 2>&1 || :")
                self.assertRegex(said, f"(?m)^✗ .*{told}")
        self.assertFalse((host.root / "etc/taken").exists(), "a domain's name was expanded")


@contextlib.contextmanager
def shaped(script: str) -> Iterator[None]:
    """What the administrator has done is gone behind it."""
    shutil.copytree(host.root / "etc", host.root / "etc.before", symlinks=True)
    try:
        host.run(script)
        yield
    finally:
        shutil.rmtree(host.root / "etc")
        (host.root / "etc.before").rename(host.root / "etc")


def assert_set_up(test: unittest.TestCase, options: str = "") -> None:
    test.assertEqual([address for address in ADDRESSES if host.takes(address)], TAKEN)
    again = host.run(f"autoresponder-setup {options} database {host.name}")
    test.assertEqual(again, "Nothing to do.\n")
    checked = host.run(f"autoresponder-setup {options} check sales@example.com || :")
    test.assertEqual(checked.splitlines()[-1], "All is well.", checked)
    host.run("cd /var/qmail/mailnames\numask 022\nmkdir -p new.example/new/@attachments\necho x >new.example/new/@attachments/x\n"
             "setpriv --reuid=autoresp --regid=autoresp --clear-groups cat new.example/new/@attachments/x\n"
             "rm -r new.example\nmkdir -m 700 -p example.com/made/@attachments\nautoresponder-setup rights made@example.com\n"
             "setpriv --reuid=autoresp --regid=autoresp --clear-groups ls example.com/made/@attachments\nrm -r example.com/made")
    secrets = [line for line in host.run(SECRETS).splitlines() if line]
    found = host.run("cd /\nfor secret in " + " ".join(secrets) + "\ndo\n    setpriv --reuid=nobody --regid=nogroup "
                     "--clear-groups grep -rlsF -e $secret etc var/lib var/log var/qmail usr/share || :\ndone")
    test.assertEqual((len(secrets), found), (1, ""))


def state() -> dict[str, object]:
    accounts = database.rows("select user, host from mysql.user")
    return host.listing() | {f"account {account}": True for account in accounts}


def assert_same(test: unittest.TestCase, found: dict[str, object], expected: dict[str, object]) -> None:
    for name in found.keys() | expected.keys():
        test.assertEqual(found.get(name), expected.get(name), name)
