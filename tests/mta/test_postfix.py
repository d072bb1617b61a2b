"""Mails that go in by SMTP, through Postfix and the program and out through Postfix's sendmail, and
what of them arrives in Maildirs, read by Python's parser. Once as delivered, once with all manners
of the host on."""

import datetime
import email.message
import hashlib
import os
import re
import subprocess
import unittest

from postfix import Postfix
from support.database import Database

PRICES = bytes(range(256)) * 300 + b"end"
ATTACHED = {"Preisliste für Bücher.bin": PRICES, "empty": b""}
REFERENCES = "<first@client.test> <second@client.test>"
# Sender's name at client.test, envelope sender where it is another, recipient.
ROUTES = [("plain", None, "sales@example.com"), ("multipart", None, "offers@example.com"),
          ("eightbit", None, "orders@example.com"), ("list", None, "sales@example.com"),
          ("null", "", "sales@example.com"), ("idn", None, "sales@bücher.example"),
          ("ascii", None, "sales@xn--bcher-kva.example"), ("circle", None, "loop@example.com"),
          ("MAILER-DAEMON", "", "sales@example.com")]


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
    """The mail of a route, with bare line feeds. No line is a lone dot: Postfix's sendmail ends a mail
    there unless it is given -i."""
    if name == "multipart":
        return multipart_mail(name, recipient)
    if name == "eightbit":
        subject = "=?koi8-r?B?zs/X2cog2sHLwdo=?="  # "new order"
        return (header(name, recipient) + f"Subject: {subject}\n"
                "Content-Type: text/plain; charset=koi8-r\nContent-Transfer-Encoding: 8bit\n\n"
                "Заказ: три стула.\n").encode("koi8-r")
    more = {"plain": f"References: {REFERENCES}\n",
            "list": "List-Id: <talk.client.test>\nPrecedence: bulk\n"}.get(name, "")
    return (header(name, recipient) + f"Subject: Hello from {name}\n{more}\n"
            "How are you?\n..two dots\n.one\nFrom here on\n").encode()


MAILS = {name: incoming(name, recipient) for name, _, recipient in ROUTES}


def setUpModule() -> None:
    global database, postfix
    database = Database()
    unittest.addModuleCleanup(database.close)
    postfix = Postfix(os.environ["OVK_POSTFIX"], os.environ["OVK_PROGRAM"], database)
    for name, content in ATTACHED.items():
        path = "var/qmail/mailnames/example.com/offers/@attachments/" + name
        (postfix.root / path).write_bytes(content)


class Mails:
    """What holds in both runs."""

    variables: str
    silent = {"MAILER-DAEMON"}

    @classmethod
    def setUpClass(cls) -> None:
        postfix.begin(f"ORVEK_MAILNAMES_D /var/qmail/mailnames\n{cls.variables}")
        database.load("panel.sql", "../tests/mta/rules.sql")
        for name, envelope_sender, recipient in ROUTES:
            sender = f"{name}@client.test" if envelope_sender is None else envelope_sender
            postfix.send(sender, recipient, MAILS[name].replace(b"\n", b"\r\n"))
        postfix.settle()

    def reply(self, name: str) -> email.message.EmailMessage:
        """The one reply to a sender, without a fault that the parser knows."""
        replies = postfix.replies(name)
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
        self.assertEqual({file.get_filename(): sha256(file) for file in files},
                         {name: hashlib.sha256(data).hexdigest() for name, data in ATTACHED.items()})
        self.assertEqual(reply["Reply-To"], "sales@example.com")

    def test_eightbit(self) -> None:
        self.assert_header("eightbit", "orders@example.com", "Re: новый заказ")
        self.assert_text(self.reply("eightbit"), "text/plain", "koi8-r", "Ваш заказ принят.")

    def test_international_domain(self) -> None:
        # Converted as a whole, an address in UTF-8 has its local part in the label as well.
        for name, mailbox in (("idn", "xn--sales@bcher-zhb.example"),
                              ("ascii", "sales@xn--bcher-kva.example")):
            self.assert_header(name, mailbox, f"Re: Hello from {name}")
            self.assert_text(self.reply(name), "text/plain", "iso-8859-1", "Bücher, Bücher!")

    def test_notice(self) -> None:
        notice = self.reply("clara")
        self.assertIn("terms.pdf\n", notice.get_content())
        self.assertEqual((notice["From"], notice["To"]),
                         ("sales@example.com", "clara@client.test"))

    def test_forwards_equal_the_originals(self) -> None:
        forwards = {re.search(rb"^From: ([\w-]+)", mail, re.M)[1].decode(): mail
                    for mail in postfix.mailbox("colleague")}
        self.assertEqual(forwards.keys(), MAILS.keys() - {"MAILER-DAEMON", "circle"})
        self.assertEqual(len(postfix.mailbox("archive")), 1)
        recipients = {name: recipient for name, _, recipient in ROUTES}
        for name, mail in forwards.items():
            self.assertEqual(mail[-len(MAILS[name]) - 1:], MAILS[name] + b"\n")
            returns = re.match(rb"Return-Path: <(.*)>\n", mail)[1].decode()
            self.assertEqual(returns, recipients[name])

    def test_a_forward_to_the_mailbox_itself_does_not_circle(self) -> None:
        self.reply("circle")
        original, forward, bounce = postfix.replies("loop")
        self.assertIn("forwarding loop", bounce.get_body().get_content())

    def test_who_is_not_answered(self) -> None:
        replies = {name: len(postfix.mailbox(name)) for name in MAILS}
        self.assertEqual(replies, {name: 0 if name in self.silent else 1 for name in replies},
                         postfix.said())
        self.assertIn("delivered via autoresponder service (Field From: contains MAILER-DAEMON",
                      postfix.said())

    def test_nothing_stays_in_tmp(self) -> None:
        self.assertEqual(list((postfix.root / "tmp").iterdir()), [])


class AsDelivered(Mails, unittest.TestCase):
    variables = ""

    def assert_manners(self, reply: email.message.EmailMessage, name: str, mailbox: str) -> None:
        self.assertEqual(reply["Return-Path"], f"<{mailbox}>")
        for field in ("Auto-Submitted", "X-Auto-Response-Suppress", "In-Reply-To", "References"):
            self.assertNotIn(field, reply)


class WithAllManners(Mails, unittest.TestCase):
    variables = "".join(f"AUTORESPONDER_{name} true\n"
                        for name in ("REFUSE_AUTOMATIC", "REPLY_HEADERS", "NULL_SENDER"))
    silent = {"MAILER-DAEMON", "list", "null"}

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

    def test_message_ids_are_unique(self) -> None:
        answered = MAILS.keys() - self.silent | {"clara"}
        self.assertEqual(len({self.reply(name)["Message-ID"] for name in answered}), len(answered))

    def test_the_log_says_why(self) -> None:
        for reason in ("List-Id is present", "Return-Path is null"):
            self.assertIn(f"(autoresponder: Not answered: {reason})", postfix.said())


class SetUidStart(unittest.TestCase):
    def test_the_callers_environment_is_not_heeded(self) -> None:
        postfix.begin("")
        database.load("panel.sql", "../tests/mta/rules.sql")
        subprocess.run(["chroot", "--userspec=103:103", postfix.root, "/usr/bin/env", "-i",
                        "MAIL_CONFIG=/nowhere", "RESP_RECIPIENT=sales@example.com",
                        "/usr/lib/ovk/autoresponder"], input=MAILS["plain"], check=True)
        postfix.settle()
        self.assertEqual(len(postfix.mailbox("plain")), 1)


def sha256(part: email.message.EmailMessage) -> str:
    return hashlib.sha256(part.get_content()).hexdigest()
