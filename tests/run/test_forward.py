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

    def test_more_addresses_than_a_call_takes(self) -> None:
        """Go out in several calls. One that is taken is a forward that is sent."""
        self.rule()
        self.database.execute("insert into resp_forward (rn_id, address)"
                              " select 1, concat(repeat('x', 100), seq, '@y.test') from seq_1_to_30000")
        calls = self.deliver().calls
        self.assertEqual(len(calls), 4)
        self.assertEqual([address for call in calls[:3] for address in call.args[3:]],
                         [f"{'x' * 100}{number}@y.test" for number in range(1, 30001)])
        self.configure("RETRY_LATER")
        for first, second, status in ((0, 75, 0), (67, 75, 75), (75, 0, 75)):
            self.box.script(f"cat >/dev/null; mkdir /capture/one || exit {second}; exit {first}")
            self.assertEqual(self.deliver().status, status, (first, second))
            (self.box.capture / "one").rmdir()

    def test_a_mail_that_comes_back(self) -> None:
        """Is marked with the mailbox's own address, and nothing comes of it."""
        self.database.execute("insert into domains (id, cl_id, name) values (2, 1, 'bücher.test');"
                              "insert into mail (id, dom_id, mail_name) values (2, 2, 'info');"
                              "insert into mail_aliases (mn_id, alias) values (2, 'other')")
        self.rule(mn_id=2, forward=["other@bücher.test"])
        self.configure("STOP_CIRCLES")
        mark = rb"X-Autoresponder-Forwarded: info@b\xC3\xBCcher.test"
        for count, (before, end) in enumerate([(b"", b"\n"), (b"", b"\r\n"), (b"From a@b.test Wed\n", b"\n")], 1):
            message = mail(body="x" * 300000 + "\n").encode().replace(b"\n", end)
            forward, _ = self.deliver(before + message, "other@bücher.test").calls
            self.assertTrue(forward.message == before + mark + end + message + b"\n")
            run = self.deliver(forward.message, "info@bücher.test")
            self.assert_silent(run, "autoresponder: Not answered: it has been through this mailbox\n")
            self.assertEqual(self.database.rows("select sum(num) from resp_freq")[0][0], str(count))
        of_others = b"X-Autoresponder-Forwarded: other@x.test\n" + message
        self.assertEqual(len(self.deliver(of_others, "info@bücher.test").calls), 2)

    def test_nothing_but_null_addresses(self) -> None:
        self.rule(forward=[None])
        self.assert_answered(self.deliver())
