"""Mail is read, and a reply's text converted, where whoever breaks the reader has nothing."""

import glob
import os

from support.case import PanelCase, mail

CHARSET = "KOI8-U"  # nothing of the program's own needs it
CANNOT = "autoresponder: The mail cannot be read: "


class Cell(PanelCase):
    def harm(self) -> None:
        """Puts the harmful converter in the place of the C library's."""
        for path in glob.glob(f"/usr/lib/*/gconv/{CHARSET}.so"):
            self.box.extra += ["--ro-bind", os.environ["OVK_CONVERTER"], path]
        self.assertTrue(self.box.extra)

    def letter(self, text: str) -> str:
        return mail(body=text, headers=f"Content-Type: text/plain; charset={CHARSET}\n")

    def test_a_reader_that_is_broken(self) -> None:
        self.rule(forward=["other@client.example"])
        self.harm()
        for choices in ([], ["RETRY_LATER"], ["RETRY_LATER", "READ_AS_SHOWN"]):
            self.configure(*choices)
            for text, reason in (("crash", "Segmentation fault"), ("password", "no answer"),
                                 ("message", "no answer"), ("sendmail", "Bad system call")):
                with self.subTest(choices=choices, text=text):
                    self.assert_silent(self.deliver(self.letter(text)),
                                       f"{CANNOT}{reason}\nAbnormal exit.\n")
        self.assertEqual(self.database.rows("select * from resp_freq"), [])
        self.box.extra = []
        self.assert_answered(self.deliver(self.letter("crash")), 2)

    def test_a_reply_whose_charset_breaks(self) -> None:
        for id, text in ((1, "crash"), (2, "password"), (3, "sendmail")):
            self.rule(id=id, text=text, charset=CHARSET)
        self.harm()
        run = self.deliver()
        self.assert_answered(run, 3)
        for call in run.calls:
            self.assertIn(b'charset="UTF-8"', call.message)
