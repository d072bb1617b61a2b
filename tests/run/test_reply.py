"""The reply to the byte: layout, subject, recoding, attachments, size limit, delivery."""

import base64
import os

from support.case import BOX, SENDER, PanelCase, mail
from support.sandbox import MAILNAMES

B64_LINE = 60


def plain(subject: str = "Re: Hello", text: str = "Thanks.", charset: str = "UTF-8",
          content_type: str = "text/plain", first: str = "") -> str:
    return (f"{first}From: {BOX}\nTo: {SENDER}\nMIME-Version: 1.0\nSubject: {subject}\n"
            f'Content-Type: {content_type}; charset="{charset}"\n'
            f"Content-Transfer-Encoding: 8bit\nContent-Disposition: inline\n\n{text}\n\n\n")


class Reply(PanelCase):
    def only_message(self, **delivery) -> str:
        run = self.deliver(**delivery)
        self.assert_answered(run)
        return run.calls[0].message.decode(errors="surrogateescape")

    def test_plain_reply(self) -> None:
        self.rule()
        run = self.deliver()
        self.assert_answered(run)
        call = run.calls[0]
        self.assertEqual(call.args, ["/usr/sbin/sendmail", "-f", BOX, SENDER])
        self.assertEqual(call.message.decode(), plain())
        self.assertEqual((call.descriptors, call.sigpipe), ([0, 1, 2], "default"))

    def test_columns_of_the_rule(self) -> None:
        self.rule(text="<b>x\r\ny</b>\n.\n", content_type="text/html", reply_to="ann@example.org")
        self.assertEqual(self.only_message(),
                         plain(text="<b>x\r\ny</b>\n.\n", content_type="text/html",
                               first="Reply-To: ann@example.org\n"))

    def test_subjects(self) -> None:
        for rule_subject, incoming, expected in (
            ("", "Re: Hello", "Re: Re: Hello"),
            ("", "Grüße", "Re: =?utf-8?Q?Gr=C3=BC=C3=9Fe?="),
            ("", "a\n b", "Re: =?utf-8?Q?a=0A_b?="),
            ("", "=?utf-8?B?YQpCY2M6IHhAeS56?=", "Re: =?utf-8?Q?a=0ABcc:_x@y.z?="),
            ("Got <request_subject>, <request_from>", "Hi", f"Got Hi, {SENDER}"),
            ("<orig_emails_subj><incoming_message_subject><orig_emails_sender_mailname>", "Hi",
             f"HiHi{SENDER}"),
            ("<unknown> <>", "Hi", "<unknown> <>"),
            ("[<request_subject>]", "", "[]"),
            ("x" * 1200, "Hi", "x" * 999),
            ("ab<request_subject>", "y" * 1200, "ab" + "y" * 997),
        ):
            with self.subTest(rule_subject, incoming=incoming):
                self.database.execute("truncate mail_resp; truncate resp_freq")
                self.rule(subject=rule_subject)
                self.assertEqual(self.only_message(message=mail(incoming)), plain(expected))

    def test_no_line_of_the_mail_reaches_a_header(self) -> None:
        self.rule(subject="<request_subject> <request_from>")
        for subject in ("=?utf-8?Q?a=0D=0ABcc:=20evil@example.org?=",
                        "=?utf-8?Q?=0A=0Abody?=", "=?utf-7?Q?+AAo-Bcc:_evil@example.org?=",
                        "a\r\n b", "a\rBcc: evil@example.org"):
            with self.subTest(subject):
                text = self.only_message(message=mail(subject))
                header, _, body = text.partition("\n\n")
                self.assertEqual([line.partition(":")[0] for line in header.splitlines()],
                                 ["From", "To", "MIME-Version", "Subject", "Content-Type",
                                  "Content-Transfer-Encoding", "Content-Disposition"])
                self.assertEqual(body, "Thanks.\n\n\n")
                self.assertNotIn("\r", header)

    def test_charsets_of_the_rule(self) -> None:
        for charset, text, label, body in (
            ("koi8-r", "Привет", "koi8-r", "Привет".encode("koi8-r")),
            ("iso-8859-1", "Grüße", "iso-8859-1", "Grüße".encode("latin-1")),
            ("US-ASCII", "a–b", "US-ASCII", b"a???b"),
            ("no-such-charset", "Grüße", "UTF-8", "Grüße".encode()),
            (None, "Grüße", "UTF-8", "Grüße".encode()),
        ):
            with self.subTest(charset):
                self.database.execute("truncate mail_resp")
                self.rule(charset=charset, text=text)
                expected = plain(text="BODY", charset=label).encode().replace(b"BODY", body)
                run = self.deliver()
                self.assert_answered(run)
                self.assertEqual(run.calls[0].message, expected)

    def test_multipart_layout(self) -> None:
        folder = self.box.attachments(BOX)
        data = bytes(range(256)) * 3
        (folder / "a b.bin").write_bytes(data)
        (folder / "Größe.txt").write_bytes(b"")
        self.rule(attach=[" a b.bin ", None, "", "Größe.txt"])
        encoded = base64.b64encode(data).decode()
        lines = "".join(encoded[i:i + B64_LINE] + "\n" for i in range(0, len(encoded), B64_LINE))
        part = ("--{}\nContent-Type: application/octet-stream\n"
                "Content-Transfer-Encoding: base64\n"
                'Content-Disposition: attachment;\n\tfilename="{}"\n\n{}\n')
        self.assertEqual(
            self.only_message(),
            plain().replace("Content-Type:",
                            f'Content-Type: multipart/mixed;\n\tboundary="{self.first()}"\n\n'
                            f"--{self.first()}\nContent-Type:")
            + part.format(self.first(), "a b.bin", lines)
            + part.format(self.first(), "=?utf-8?Q?Gr=C3=B6=C3=9Fe.txt?=", "")
            + f"--{self.first()}--\n")

    @staticmethod
    def first() -> str:
        """29 letters from the C library's generator as it is without a seed."""
        import ctypes

        libc = ctypes.CDLL("libc.so.6")
        libc.srand(1)
        return "--------=_" + "".join(
            chr(65 + r) if r < 26 else chr(97 + r - 26)
            for r in (libc.rand() % 52 for _ in range(29)))

    def test_attachment_sizes(self) -> None:
        folder = self.box.attachments(BOX)
        for size in (1, 44, 45, 46, 90, 45 * 256, 45 * 256 + 1, 100000):
            with self.subTest(size):
                data = os.urandom(size)
                (folder / "file").write_bytes(data)
                self.database.execute("truncate mail_resp; truncate resp_attach")
                self.rule(attach=["file"])
                lines = self.only_message().split('filename="file"\n\n')[1].split("\n\n")[0]
                lines = lines.split("\n")
                self.assertEqual(base64.b64decode("".join(lines)), data)
                self.assertEqual({len(line) for line in lines[:-1]} - {B64_LINE}, set())

    def test_attachments_that_cannot_be_read(self) -> None:
        folder = self.box.attachments(BOX)
        os.mkfifo(folder / "fifo")
        (folder / "directory").mkdir()
        self.rule(attach=["fifo", "directory"])
        run = self.deliver()
        self.assertEqual(run.err, "autoresponder: Failed to read attachement file '"
                         f"{MAILNAMES}/example.com/sales/@attachments/fifo':"
                         " No such device or address (6)\n")
        self.assertEqual(run.calls[0].message.count(b'filename="fifo"\n\n\n--'), 1)
        self.assertEqual(run.calls[0].message.count(b'filename="directory"\n\n\n--'), 1)

    def test_two_rules_draw_two_boundaries(self) -> None:
        (self.box.attachments(BOX) / "file").write_text("x")
        self.rule(1, attach=["file"], subject="<request_subject>")
        self.rule(2, attach=["file"], subject="<request_subject>!")
        run = self.deliver()
        self.assert_answered(run, 2)
        boundaries = [call.message.split(b'boundary="')[1][:39] for call in run.calls]
        self.assertEqual(boundaries[0].decode(), self.first())
        self.assertNotEqual(*boundaries)
        self.assertIn(b"Subject: =?utf-8?Q?Hello=21?=\n", run.calls[1].message)


class SizeLimit(PanelCase):
    OVERSIZE = (f"From: {BOX}\nCC: \nSubject: Re: Hello\n\n"
                "An error occurred while responding on you request.\n\n"
                "Autoresponder message size exceeds databytes limit.\n\n\n\n")

    def test_limit(self) -> None:
        reply = plain("Own subject")
        for databytes, is_too_large in (
            (str(len(reply)), False),
            (str(len(reply) - 1), True),
            (f"  {len(reply) - 1} 5\n", True),
            ("1", True),
            ("+1x", True),
            ("0", False), ("-1", False), ("", False), ("abc", False),
            ("99999999999999999999", False),
        ):
            with self.subTest(databytes):
                self.database.execute("truncate mail_resp")
                self.rule(subject="Own subject")
                self.box.databytes(databytes)
                run = self.deliver()
                self.assert_answered(run)
                self.assertEqual(run.calls[0].message.decode(),
                                 self.OVERSIZE if is_too_large else reply)
                self.assertEqual(run.calls[0].args[2:], [BOX, SENDER])

    def test_replacement_keeps_reply_to(self) -> None:
        self.rule(reply_to="ann@example.org")
        self.box.databytes("1")
        self.assertEqual(self.deliver().calls[0].message.decode(),
                         "Reply-To: ann@example.org\n" + self.OVERSIZE)


class Delivery(PanelCase):
    def test_unicode_domain(self) -> None:
        self.database.execute("insert into domains (id, cl_id, name) values (2, 1, 'bücher.test');"
                              "insert into mail (id, dom_id, mail_name) values (2, 2, 'box')")
        self.rule(mn_id=2)
        run = self.deliver(recipient="box@bücher.test")
        self.assert_answered(run)
        # The whole address is converted, so its first label holds the local part.
        address = run.calls[0].args[2]
        self.assertTrue(address.isascii())
        self.assertRegex(address, r"\Axn--box@bcher-\w+\.test\Z")
        self.assertIn(f"From: {address}\n".encode(), run.calls[0].message)

    def test_address_without_an_ascii_form_is_fatal(self) -> None:
        long = "x" * 70
        self.database.execute(f"update mail set mail_name = '{long}'")
        self.rule()
        run = self.deliver(recipient=f"{long}@example.com")
        message = "autoresponder: IDN conversion error: Invalid length\n"
        self.assertEqual((run.status, run.out, run.err, run.calls), (1, message, message, []))
        self.assertEqual([name[:14] for name in run.leftovers],
                         ["ovk-autorespon", "ovk-response-u"])

    def test_sendmail_is_not_judged(self) -> None:
        self.rule(1)
        self.rule(2)
        for behaviour, err in (("exit 75", ""), ("kill 9", ""), ("noread", ""),
                               ("print", "sendmail on standard error\n" * 2)):
            with self.subTest(behaviour):
                self.box.behave(behaviour)
                run = self.deliver()
                self.assertEqual((run.status, run.err, len(run.calls)), (0, err, 2))
                self.assertEqual(run.leftovers, [])

    def test_missing_sendmail(self) -> None:
        self.rule(1)
        self.rule(2)
        self.box.sendmail = None
        run = self.deliver()
        line = ('fork_execv: execv("/usr/sbin/sendmail") failed: No such file or directory\n')
        self.assertEqual((run.status, run.err, run.leftovers), (0, line * 2, []))

    def test_reply_file_that_cannot_be_made(self) -> None:
        self.rule(forward=["a@example.org"])
        # /tmp goes away while the mail is forwarded.
        (self.box.qmail / "tmp").mkdir()
        self.box.tmp_mount = ["--symlink", "/var/qmail/tmp", "/tmp"]
        self.box.script("mv /var/qmail/tmp /var/qmail/moved\n")
        run = self.deliver()
        self.assertEqual(run.status, 1)
        self.assertRegex(run.err, "^autoresponder: Failed to open temporary file with response mail"
                                  r" contents '/tmp/ovk-response-uu-\w{6}': No such file or"
                                  r" directory \(2\)\n"
                                  "autoresponder: Send error: Failed to generate response mail"
                                  " contents\nSystem error 2: No such file or directory\n$")
        self.assertEqual(run.calls, [])
