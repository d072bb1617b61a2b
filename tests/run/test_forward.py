"""Forwarding of the incoming message."""

import os

from support.case import BOX, SENDER, PanelCase, mail


class Forward(PanelCase):
    def test_one_call_for_all_addresses(self) -> None:
        self.rule(forward=["a@example.org", None, "", " b@example.org", "a@example.org"])
        run = self.deliver()
        self.assert_answered(run, 2)
        self.assertEqual(run.calls[0].args, ["/usr/sbin/sendmail", "-f", BOX, "a@example.org", "",
                                             " b@example.org", "a@example.org"])
        self.assertEqual((run.calls[0].descriptors, run.calls[0].sigpipe), ([0, 1, 2], "default"))
        self.assertEqual(run.calls[1].args[3:], [SENDER])

    def test_copy_is_the_input_and_one_line_feed(self) -> None:
        self.rule(1, forward=["a@example.org"])
        self.rule(2, forward=["b@example.org"])
        head = f"From: {SENDER}\n\n".encode()
        for body in (b"", b"x", b"x\n", b"\r\n\0\xff\r", os.urandom(200000), b"\n" * 65536):
            with self.subTest(body[:8]):
                run = self.deliver(head + body)
                forwards = [call.message for call in run.calls[0::2]]
                self.assertEqual(len(forwards), 2)
                self.assertTrue(all(copy == head + body + b"\n" for copy in forwards))

    def test_nothing_but_null_addresses(self) -> None:
        self.rule(forward=[None])
        self.assert_answered(self.deliver())
