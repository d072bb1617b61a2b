"""Standard mail: what leaves the host, read back by a parser of its own, with the choice off and on."""

import email
import re
import unittest.mock
import urllib.parse

from support.case import BOX, SENDER, PanelCase, mail, parsed

EMOJI, SHALOM, KANJI = "\N{GRINNING FACE}", "שלום", "漢字"
CYRILLIC = "Длинная тема письма, " * 15


class StandardMail(PanelCase):
    def setUp(self) -> None:
        super().setUp()
        self.database.execute("insert into domains (id, cl_id, name) values (2, 1, 'bücher.example');"
                              "insert into mail (id, dom_id, mail_name) values (2, 2, 'info');"
                              "insert into mail_aliases (mn_id, alias)"
                              " values (1, 'sales+''; any \"text\\\\')")

    def assert_sound(self, message: bytes) -> None:
        head = message.split(b"\n\n", 1)[0]
        for line in head.split(b"\n"):
            self.assertLessEqual(len(line), 76 if b"=?" in line and b"name=" not in line else 998)
        self.assertTrue(all(len(line) <= 998 for line in message.split(b"\n")))
        for part in parsed(message).walk():
            self.assertEqual([part.defects, [h.defects for h in map(part.get, part.keys())
                                             if h.name.lower() == "subject" and h.defects]], [[], []])

    def test_what_is_sent_in_both_states(self) -> None:
        args = lambda call: call.args[1:]
        text = lambda call: parsed(call.message).get_body(("plain",)).get_content()
        head = lambda name: lambda call: email.message_from_bytes(call.message)[name]
        odd = "sales+'; any \"text\\@example.com"
        written = "\"sales+'; any \\\"text\\\\\"@example.com"
        cases = (  # rule, recipient, message, what is looked at, what it is by default, with the choice
            ({}, BOX, mail(), args, ["-f", BOX, SENDER], ["-i", "-f", BOX, SENDER]),
            ({}, "info@bücher.example", mail(), args, ["-f", "xn--info@bcher-feb.example", SENDER],
             ["-i", "-f", "info@xn--bcher-kva.example", SENDER]),
            ({}, "info@bücher.example", mail(), head("From"), "xn--info@bcher-feb.example",
             "info@xn--bcher-kva.example"),
            ({}, "info@xn--bcher-kva.example", mail(), args, None,
             ["-i", "-f", "info@xn--bcher-kva.example", SENDER]),
            ({"attach": ["gone"]}, "info@xn--bcher-kva.example", mail(), args, None,
             ["-i", "-f", "root@localhost", "anna@alpha.test"]),
            ({}, "info@xn--bcher-kva.example", mail(sender="info@bücher.example"), args, None, None),
            ({"text": EMOJI}, BOX, mail(), text, "?\n\n\n", EMOJI + "\n\n\n"),
            ({"keystr": EMOJI, "key_where": "body"}, BOX, mail(body="why?\n"), args,
             ["-f", BOX, SENDER], None),
            ({"text": KANJI, "charset": "iso-2022-jp"}, BOX, mail(), lambda call: call.message[-7:],
             b"4A;z\n\n\n", b"z\x1b(B\n\n\n"),
            ({"text": "a", "charset": "UTF-16"}, BOX, mail(), head("Content-Type"),
             'text/plain; charset="UTF-16"', 'text/plain; charset="UTF-8"'),
            ({"text": "x" * 2000}, BOX, mail(), head("Content-Transfer-Encoding"), "8bit",
             "quoted-printable"),
            ({"keystr": SHALOM, "key_where": "subj"}, BOX,
             mail(subject="=?windows-1255?Q?=F9=EC=E5=ED?="), args, None, ["-i", "-f", BOX, SENDER]),
            ({"subject": CYRILLIC}, BOX, mail(), lambda call: parsed(call.message)["Subject"], unittest.mock.ANY,
             CYRILLIC.strip()),
            ({"reply_to": "a@bücher.example"}, BOX, mail(), head("Reply-To"), unittest.mock.ANY,
             "a@xn--bcher-kva.example"),
            ({"forward": ["x@y.test"]}, "info@bücher.example", mail(), args,
             ["-f", "info@bücher.example", "x@y.test"],
             ["-i", "-f", "info@xn--bcher-kva.example", "x@y.test"]),
            ({}, odd, mail(), head("From"), odd, written), ({}, odd, mail(), args, ["-f", odd, SENDER],
                                                            ["-i", "-f", written, SENDER]),
        )
        for state in (4, 5):
            for number, case in enumerate(cases):
                with self.subTest(number=number, standard=state == 5):
                    self.only_rule(mn_id=2 if "info" in case[1] else 1, **case[0])
                    run = self.deliver(case[2], case[1])
                    self.assertEqual(run.status, 0)
                    found = case[3](run.calls[0]) if run.calls else None
                    self.assertEqual(found, case[state])
                    if state == 5:
                        for call in run.calls:
                            self.assert_sound(call.message)
            self.configure("STANDARD_MAIL")

    def test_a_column_without_emoji_takes_their_senders(self) -> None:
        self.database.execute("alter table resp_freq modify email varchar(255)"
                              " character set utf8mb3 not null")
        self.rule(ans_freq="1")
        self.configure("STANDARD_MAIL")
        for answers in (1, 0):
            run = self.deliver(mail(sender=EMOJI + "@x.test"))
            self.assertEqual((run.err, [call.args[-1] for call in run.calls]),
                             ("", [EMOJI + "@x.test"] * answers))

    def test_names_notices_and_replacements(self) -> None:
        name = "отчёт 漢.txt"
        (self.box.attachments(BOX) / name).write_text("x")
        self.rule(attach=[name, "gone"], subject=CYRILLIC)
        for standard in (False, True):
            notice, reply = self.deliver().calls
            extended = re.search(rb";\n\tfilename\*=utf-8''(\S*);\n", reply.message)
            self.assertEqual(urllib.parse.unquote(extended[1].decode()) if extended else None,
                             name if standard else None)
            self.assertIn(b'\n\tfilename="=?utf-8?Q?', reply.message)
            self.box.databytes("10")
            replacement = self.deliver().calls[-1].message
            (self.box.qmail / "control" / "databytes").unlink()
            for message in (notice.message, replacement):
                self.assertEqual((b"\nCC: " in message, b"\nMIME-Version: 1.0\n" in message),
                                 (not standard, standard))
                if standard:
                    self.assert_sound(message)
            self.configure("STANDARD_MAIL")
