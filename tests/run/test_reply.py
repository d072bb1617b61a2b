"""The reply to the byte: layout, subject, recoding, attachments, size limit, delivery."""

import base64
import os
import re
import socket

from support.case import BOX, SENDER, PanelCase, mail, parsed
from sandbox.box import MAILNAMES

B64_LINE = 60
# Of the first and the third reply: no process seeds the generator.
BOUNDARIES = ["--------=_nWlrBbmQBhCDarzOwKkYHIDdqSCDX", "--------=_gxxpkLoRellNMPapqfWkHOPkMCoQH"]


def plain(subject: str = "Re: Hello", text: str = "Thanks.", charset: str = "UTF-8",
          content_type: str = "text/plain", first: str = "") -> str:
    return (f"{first}From: {BOX}\nTo: {SENDER}\nMIME-Version: 1.0\nSubject: {subject}\n"
            f'Content-Type: {content_type}; charset="{charset}"\n'
            f"Content-Transfer-Encoding: 8bit\nContent-Disposition: inline\n\n{text}\n\n\n")


class Reply(PanelCase):
    def only_message(self, **delivery) -> bytes:
        run = self.deliver(**delivery)
        self.assert_answered(run)
        return run.calls[0].message

    def test_one_part(self) -> None:
        """Each row: the rule's columns, the mail's subject, and the reply."""
        html = {"text": "<b>x\r\ny</b>\n.\n", "content_type": "text/html"}
        for columns, incoming, expected in (
            (html | {"reply_to": "ann@example.org"}, "Hello", plain(**html, first="Reply-To: ann@example.org\n")),
            *(({"subject": subject}, incoming, plain(expected)) for subject, incoming, expected in (
                ("", "Re: Hello", "Re: Re: Hello"),
                ("", "Grüße", "Re: =?utf-8?Q?Gr=C3=BC=C3=9Fe?="),
                ("", "a\n b", "Re: =?utf-8?Q?a=0A_b?="),
                ("", "=?utf-8?B?YQpCY2M6IHhAeS56?=", "Re: =?utf-8?Q?a=0ABcc:_x@y.z?="),
                ("Got <request_subject>, <request_from>", "Hi", f"Got Hi, {SENDER}"),
                ("<orig_emails_subj><incoming_message_subject><orig_emails_sender_mailname>", "Hi", f"HiHi{SENDER}"),
                ("<unknown> <>", "Hi", "<unknown> <>"),
                ("[<request_subject>]", "", "[]"),
                ("x" * 1200, "Hi", "x" * 999),
                ("ab<request_subject>", "y" * 1200, "ab" + "y" * 997),
            )),
            *(({"charset": charset, "text": text}, "Hello", plain(text=body.decode("latin-1"), charset=label))
              for charset, text, label, body in (
                  ("koi8-r", "Привет", "koi8-r", "Привет".encode("koi8-r")),
                  ("iso-2022-cn-ext", "漢x", "iso-2022-cn-ext", b"\x1b$)G\x0eiG\x0fx"),
                  ("tscii", "கx", "tscii", b"\xb8x"),
                  ("US-ASCII", "a–b", "US-ASCII", b"a???b"),
                  ("no-such-charset", "Grüße", "UTF-8", "Grüße".encode()),
                  (None, "Grüße", "UTF-8", "Grüße".encode()),
              )),
        ):
            with self.subTest(columns, incoming=incoming):
                self.only_rule(**columns)
                self.assertEqual(self.only_message(message=mail(incoming)), expected.encode("latin-1"))

    def test_no_line_of_the_mail_reaches_a_header(self) -> None:
        evil = "Bcc: evil@example.org"
        hostile = [(f"Joe <{SENDER}>", subject) for subject in (
            f"=?utf-8?Q?a=0D=0A{evil.replace(' ', '_')}?=", "=?utf-8?Q?=0A=0Abody?=",
            f"=?utf-7?Q?+AAo-{evil.replace(' ', '_')}?=", f"a\r\n {evil}", f"a\r{evil}",
            f"=?utf-8?Q?a?=\n\t=?utf-8?B?{base64.b64encode(evil.encode()).decode()}?=")]
        hostile += [(sender, "x") for sender in (
            f'"a\n {evil}"@client.example', f'"a\r{evil}"@client.example',
            f'"a\\\n{evil}"@client.example', f'"a\\\r\n\r\n {evil}"@client.example',
            f"joe@[10.0.0.1\n\t{evil}]", f"joe@[10.0.0.1\r{evil}]", f"joe@[a\\\n {evil}]",
            f"joe@client.example\n {evil}", f"joe\n {evil} <joe@client.example\r\n >",
            f"joe@client.example (a\n {evil})", f"=?utf-8?Q?joe=0A{evil}?= <joe@client.example>",
            "=?utf-8?Q?a=0A=0Ab?=@client.example", "joe@client\x0b\x0c\x85.example")]
        self.rule(1, subject="<request_subject> <request_from>", attach=["gone"])
        self.rule(2, text="x" * 3000)
        self.box.databytes("2000")
        notice = ["From", "To", "CC", "Subject", "Content-Type", "Content-Disposition",
                  "Content-Transfer-Encoding"]
        reply = ["From", "To", "MIME-Version", "Subject", "Content-Type",
                 "Content-Transfer-Encoding", "Content-Disposition"]
        answered = 0
        for sender, subject in hostile:
            with self.subTest(sender, subject=subject):
                run = self.deliver(f"Reply-To: {sender}\nSubject: {subject}\n\nx\n")
                headers = [call.message.partition(b"\n\n")[0] for call in run.calls]
                self.assertIn([[line.partition(":")[0] for line in header.decode().split("\n")]
                               for header in headers],
                              ([], [notice, reply, ["From", "CC", "Subject"]]))
                self.assertFalse(any(re.search(rb"[\0-\x09\x0b-\x1f]", h) for h in headers))
                answered += bool(run.calls)
        self.assertGreaterEqual(answered, 8)

    def test_no_line_of_the_database_reaches_a_header(self) -> None:
        """Nor what stands behind it; tabs stay."""
        line = "\nX-Evil: x"
        mails = [(rule, None) for rule in (
            {"reply_to": f"a@x.test\tb{line}"}, {"reply_to": f"a@x.test\r\n\r\n{line}"},
            {"content_type": f"text/plain{line}"}, {"content_type": f"text/html\x7f{line}"},
            {"charset": f"utf-8{line}"}, {"charset": f"utf{line}-8"}, {"charset": f"utf-8//{line}"},
            {"charset": 'utf-8//"\t; x="'}, {"charset": "latin1//TRANSLIT"})]
        mails += [({}, sql.format("concat('h.test', 0x0a, 'X-Evil: x')")) for sql in (
            "update clients set email = concat('anna@alpha.test', 0x0d, {})",
            "insert into misc values ('admin_email', {})", "insert into misc values ('FullHostName', {})")]
        for standard in (False, True):
            for rule, sql in mails:
                with self.subTest(rule, sql=sql, standard=standard):
                    self.database.execute("truncate misc; update clients set email = 'anna@alpha.test';"
                                          f" {sql or 'do 0'}")
                    self.only_rule(attach=["gone"], text="Grüße", **rule)
                    run = self.deliver()
                    self.assert_answered(run, 2)
                    for call in run.calls:
                        head = call.message.decode(errors="replace").partition("\n\n")[0]
                        self.assertNotIn("X-Evil", "".join(call.args) + call.message.decode())
                        self.assertEqual("Reply-To: a@x.test" in head, "reply_to" in rule)
                    self.assertIn("Reply-To: a@x.test\tb\n" if "\tb" in str(rule) else "From:",
                                  head.replace("\n ", "\n"))
                    self.assertIn('charset="UTF-8"' if "/" in rule.get("charset", "") else "charset=",
                                  head)
            self.configure("STANDARD_MAIL")

    def test_multipart_layout(self) -> None:
        folder = self.box.attachments(BOX)
        data = bytes(range(256)) * 3
        (folder / "a b.bin").write_bytes(data)
        (folder / "Größe.txt").write_bytes(b"")
        self.rule(1, attach=[" a b.bin ", None, "", "Größe.txt"])
        self.rule(2)
        self.rule(3, attach=["a b.bin"], subject="<request_subject>!")
        encoded = base64.b64encode(data).decode()
        lines = "".join(encoded[i:i + B64_LINE] + "\n" for i in range(0, len(encoded), B64_LINE))
        part = ("--{}\nContent-Type: application/octet-stream\n"
                "Content-Transfer-Encoding: base64\n"
                'Content-Disposition: attachment;\n\tfilename="{}"\n\n{}\n')
        boundary = BOUNDARIES[0]
        run = self.deliver()
        self.assert_answered(run, 3)
        self.assertEqual(
            run.calls[0].message.decode(),
            plain().replace("Content-Type:",
                            f'Content-Type: multipart/mixed;\n\tboundary="{boundary}"\n\n'
                            f"--{boundary}\nContent-Type:")
            + part.format(boundary, "a b.bin", lines)
            + part.format(boundary, "=?utf-8?Q?Gr=C3=B6=C3=9Fe.txt?=", "")
            + f"--{boundary}--\n")
        self.assertIn(f'boundary="{BOUNDARIES[1]}"'.encode(), run.calls[2].message)
        self.assertIn(b"Subject: =?utf-8?Q?Hello=21?=\n", run.calls[2].message)

    def test_attachment_sizes(self) -> None:
        folder = self.box.attachments(BOX)
        for size in (1, 44, 45, 46, 90, 45 * 256, 45 * 256 + 1, 100000):
            with self.subTest(size):
                data = os.urandom(size)
                (folder / "file").write_bytes(data)
                self.only_rule(attach=["file"])
                lines = self.only_message().split(b'filename="file"\n\n')[1].split(b"\n\n")[0].split(b"\n")
                self.assertEqual(base64.b64decode(b"".join(lines)), data)
                self.assertLessEqual({len(line) for line in lines[:-1]}, {B64_LINE})

    def test_attachments_that_cannot_be_read(self) -> None:
        folder = self.box.attachments(BOX)
        os.mkfifo(folder / "fifo")
        with socket.socket(socket.AF_UNIX) as listener:
            listener.bind(str(folder / "socket"))
        # Users may make no device, but mount one in the sandbox's namespace.
        self.box.extra = ["--dev-bind", "/dev/zero",
                          f"{MAILNAMES}/example.com/sales/@attachments/device"]
        (folder / "directory").mkdir()
        unreadable = ["fifo", "socket", "device"]
        self.rule(attach=[*unreadable, "directory"])
        run = self.deliver()
        self.assertEqual(run.err, "".join(
            "autoresponder: Failed to read attachement file '"
            f"{MAILNAMES}/example.com/sales/@attachments/{name}':"
            " No such device or address (6)\n" for name in unreadable))
        for name in (*unreadable, "directory"):
            self.assertEqual(run.calls[0].message.count(b'filename="%s"\n\n\n--' % name.encode()), 1)

    def test_attachment_that_keeps_growing(self) -> None:
        file = self.box.attachments(BOX) / "log"
        file.write_text("x" * 100)
        self.rule(forward=["a@example.org"], attach=["log"])
        # Grows from the forward on, for 5 seconds; /capture/grows is there meanwhile.
        self.box.script("""\
if [ -e /capture/begun ]; then [ -e /capture/grows ] && touch /capture/replied; exit; fi
touch /capture/begun /capture/grows
{ while [ $((i += 1)) -lt 5000 ]; do
    truncate -s +2M /var/qmail/mailnames/example.com/sales/@attachments/log; sleep 0.001
  done; rm /capture/grows; } </dev/null >/dev/null 2>&1 &
""")
        run = self.deliver()
        self.assertEqual((run.status, run.leftovers), (0, []))
        self.assertTrue((self.box.capture / "replied").exists())

    def test_nobody_else_s_file_is_written_or_sent(self) -> None:
        """A link in the reply file's place leads nowhere, whatever put it there."""
        (self.box.qmail / "secret").write_text("secret")
        self.rule(attach=["gone"])
        self.box.script("name=$(echo /tmp/ovk-response-uu-*)\n"  # on the notice
                        "[ -L $name ] || ln -sf /var/qmail/secret $name\ncat >>/capture/sent\n")
        run = self.deliver()
        self.assertEqual((self.box.qmail / "secret").read_text(), "secret")
        self.assertNotIn("secret", (self.box.capture / "sent").read_text())
        self.assertIn("Too many levels of symbolic links (40)\nautoresponder: Send error", run.err)
        self.assertEqual(run.status, 1)



class SizeLimit(PanelCase):
    OVERSIZE = (f"Reply-To: ann@x.test\nFrom: {BOX}\nCC: \nSubject: Re: Hello\n\n"
                "An error occurred while responding on you request.\n\n"
                "Autoresponder message size exceeds databytes limit.\n\n\n\n")

    def test_limit(self) -> None:
        reply = plain("Own subject", first="Reply-To: ann@x.test\n")
        for databytes, is_too_large in (
            (str(len(reply)), False),
            (str(len(reply) - 1), True),
            (f"  {len(reply) - 1} 5\n", True),
            ("1", True),
            ("+1x", True),
            ("0" * 100 + "7", True),
            ("0", False), ("-1", False), ("", False), ("abc", False),
            ("9" * 20, False), ("-" + "9" * 20, False), ("9" * 1000000, False),
        ):
            with self.subTest(databytes):
                self.only_rule(subject="Own subject", reply_to="ann@x.test")
                self.box.databytes(databytes)
                run = self.deliver()
                self.assert_answered(run)
                self.assertEqual(run.calls[0].message.decode(), self.OVERSIZE if is_too_large else reply)
                self.assertEqual(run.calls[0].args, ["/usr/sbin/sendmail", "-f", BOX, SENDER])

    def test_a_subject_that_is_too_long_for_the_limit_itself(self) -> None:
        self.rule(text="x" * 100000)
        self.box.databytes("1000")
        for standard in (False, True):
            for subject, least in (("y" * 100000, 1000), ("Grüße " * 50000, 950)):
                reply = self.deliver(mail(subject)).calls[0].message
                self.assertIn(len(reply), range(500 if standard else least, 1001))
                self.assertTrue(("Re: " + subject).startswith(parsed(reply)["Subject"]), reply)
            self.configure("STANDARD_MAIL")
