"""The notice about missing attachments."""

from support.case import BOX, SENDER, PanelCase, quote

NOTICE = """\
{first}From: {sender}
To: anna@alpha.test
CC: 
Subject: ovk notification (files missing in attachments repository). 
Content-Type: text/plain; charset=utf-8
Content-Disposition: inline
Content-Transfer-Encoding: 8bit


Notification for ovk client '{name}'.

The following files are missing in the attachment repository
for the mailname 'sales' on domain 'example.com':
{missing}
"""


class Notice(PanelCase):
    def setUp(self) -> None:
        super().setUp()
        (self.box.attachments(BOX) / "here").write_text("x")

    def test_notice_then_reply(self) -> None:
        (self.box.attachments(BOX) / "../secret").write_text("x")
        (self.box.attachments(BOX) / "link").symlink_to("../secret")
        leading_out = ["link", "../secret", "/etc/ovk/.ovk.shadow"]
        self.rule(attach=[" gone b ", "here", *leading_out], reply_to="ann@example.org")
        self.database.execute("insert into misc values ('admin_email', 'admin@host.test')")
        run = self.deliver()
        self.assert_answered(run, 2)
        self.assertEqual(run.calls[0].args, ["/usr/sbin/sendmail", "-f", "admin@host.test",
                                             "anna@alpha.test"])
        self.assertEqual(run.calls[0].message.decode(),
                         NOTICE.format(first="Reply-To: ann@example.org\n", sender="admin@host.test",
                                       name="Anna Alpha", missing="\n".join(["gone b", *leading_out, ""])))
        self.assertEqual(run.calls[1].args[3:], [SENDER])
        self.assertEqual(run.calls[1].message.count(b"filename="), 1)

    def test_senders_and_names(self) -> None:
        self.rule(attach=["gone"])
        for admin, host, pname, sender, name in (
            ("admin@host.test", "host.test", "Anna Alpha", "admin@host.test", "Anna Alpha"),
            ("", "host.test", "", "root@host.test", "alpha"),
            (None, "host.test", None, "root@host.test", "alpha"),
            ("", "", "A", "root@localhost", "A"),
            (None, None, "A", "root@localhost", "A"),
        ):
            with self.subTest(sender=sender, name=name):
                self.database.execute(f"update clients set pname = {quote(pname)}; truncate misc")
                for parameter, value in (("admin_email", admin), ("FullHostName", host)):
                    if value is not None:
                        self.database.execute(f"insert into misc values ('{parameter}', '{value}')")
                run = self.deliver()
                self.assert_answered(run, 2)
                self.assertEqual(run.calls[0].message.decode(),
                                 NOTICE.format(first="", sender=sender, name=name, missing="gone\n"))

    def test_one_for_every_rule_with_the_name_that_was_written_to(self) -> None:
        self.rule(1, attach=["gone"])
        self.rule(2, attach=["gone", "here"])
        calls = self.deliver(recipient="orders@example.com").calls
        self.assertEqual([call.args[3] for call in calls], ["anna@alpha.test", SENDER] * 2)
        self.assertIn(b"for the mailname 'orders' on domain 'example.com':\n", calls[0].message)

    def test_nobody_to_tell(self) -> None:
        self.rule(attach=["gone"])
        for change, recipient, err in (
            ("update clients set email = NULL", BOX, ""),
            ("update clients set email = ''", BOX, ""),
            ("do 0", "sales@example.net", "This client does not exist :\n"),
            ("rename table clients to away", BOX,
             "Unable to define client email and personal name :"
             "Table 'ovk.clients' doesn't exist\n"),
        ):
            with self.subTest(change):
                self.database.execute(change)
                run = self.deliver(recipient=recipient)
                self.assertEqual((run.status, run.err, run.leftovers), (0, err, []))
                self.assertEqual([call.args[3] for call in run.calls], [SENDER])
