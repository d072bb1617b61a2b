"""Mailbox resolution and rules: the lookups, the triggers, the order of the run."""

from support.case import BOX, SENDER, PanelCase

LOOKUPS = [
    "select m.id, m.mail_name, d.name from mail m, domains d where m.dom_id=d.id and"
    " d.name='{1}' and m.mail_name='{0}'",
    "select m.id, m.mail_name, d.name from mail m, mail_aliases ma, domains d where m.id=ma.mn_id"
    " and m.dom_id=d.id and d.name='{1}' and ma.alias='{0}'",
    "select m.id, m.mail_name, d.name from mail m, domains d, domainaliases da where"
    " m.dom_id=d.id and d.id=da.dom_id and da.name='{1}' and m.mail_name='{0}' and da.mail='true'",
    "select m.id, m.mail_name, d.name from mail m, mail_aliases ma, domains d, domainaliases da"
    " where m.id=ma.mn_id and m.dom_id=d.id and d.id=da.dom_id and da.name='{1}' and"
    " ma.alias='{0}' and da.mail='true'",
]


class Mailbox(PanelCase):
    def setUp(self) -> None:
        super().setUp()
        self.database.execute(
            "insert into mail (id, dom_id, mail_name) values (2, 1, 'support'), (3, 1, 'o''brien');"
            "insert into mail_aliases (mn_id, alias) values (2, 'sales')")
        self.rule(1, mn_id=1, text="sales", attach=["file"])
        self.rule(2, mn_id=2, text="support")
        self.rule(3, mn_id=3, text="o'brien")
        (self.box.attachments(BOX) / "file").write_text("x")

    def test_lookups_stop_at_the_first_hit(self) -> None:
        for recipient, lookups, text in (
            ("sales@example.com", 1, b"sales"),  # the mailbox itself, not the alias of that name
            ("orders@example.com", 2, b"sales"),
            ("sales@example.net", 3, b"sales"),
            ("orders@example.net", 4, b"sales"),
            ("o'brien@example.com", 1, b"o'brien"),
            ("sales@parked.test", 4, None),
            ("nobody@example.com", 4, None),
            ("back\\slash'@example.com", 4, None),
            ("@example.com", 4, None),
            ("bare", 4, None),
            ("", 4, None),
            ("sales@example.com@x.test", 4, None),
            ("sales\nBcc: evil@example.com", 4, None),
        ):
            with self.subTest(recipient):
                self.database.listen()
                run = self.deliver(recipient=recipient)
                name, domain = recipient.split("@", 1) if "@" in recipient else [recipient] * 2
                escaped = [part.replace("\\", "\\\\").replace("'", "\\'").replace("\n", "\\n")
                           for part in (name, domain)]
                statements = self.database.heard()
                self.assertEqual(statements[0], "SET NAMES utf8")
                self.assertEqual(statements[1:1 + lookups],
                                 [query.format(*escaped) for query in LOOKUPS[:lookups]])
                if text is None:
                    self.assertEqual(len(statements), 1 + lookups)
                    said = f"Mailname not found: {name}@{domain}".replace("\n", "\\x0A")
                    self.assert_silent(run, f"autoresponder: {said}\n")
                else:
                    self.assertTrue(statements[1 + lookups].startswith("select id, keystr, "))
                    self.assertIn(text, run.calls[0].message)
                    self.assertEqual(run.calls[0].args[2], recipient)
                    # Attachments lie with the mailbox, whatever name led to it.
                    self.assertEqual(b'filename="file"' in run.calls[0].message, text == b"sales")

    def test_configured_root_of_the_mailboxes(self) -> None:
        (self.box.etc / "ovk.conf").write_text("ORVEK_MAILNAMES_D /var/qmail/other # moved\n")
        folder = self.box.qmail / "other/example.com/sales/@attachments"
        folder.mkdir(parents=True)
        (folder / "file").write_text("other")
        self.assertIn(b"b3RoZXI=", self.deliver().calls[0].message)
        (self.box.etc / "ovk.conf").unlink()
        self.assertIn(b"\neA==\n", self.deliver().calls[0].message)


class Rules(PanelCase):
    def test_switch_and_defaults(self) -> None:
        for id, switch in enumerate(("true", "false", None, "", "False", "0"), 1):
            self.rule(id, resp_on=switch, text=f"{switch}")
        self.assertEqual([call.message.partition(b"\n\n")[2].strip() for call in self.deliver().calls],
                         [b"true", b"", b"False", b"0"])

    def test_rule_of_null_columns(self) -> None:
        self.rule(text=None, key_where=None, keystr="absent", subject=None, charset=None,
                  content_type=None, reply_to=None, ans_freq=None, mem_limit=None)
        run = self.deliver()
        self.assert_answered(run)
        self.assertIn(b'Content-Type: text/plain; charset="UTF-8"\n', run.calls[0].message)
        self.database.execute("alter table mail_resp modify id int null, drop primary key;"
                              "update mail_resp set id = NULL;"
                              "insert into resp_forward (rn_id, address) values (0, 'zero@x.test')")
        self.assertEqual(self.deliver().calls[0].args[3:], ["zero@x.test"])
        self.assertEqual(self.database.rows("select rn_id from resp_freq order by rn_id"),
                         [["0"], ["1"]])

    def test_order_of_the_run(self) -> None:
        self.rule(1, forward=["boss@example.org"])
        self.rule(2, forward=["boss@example.org"], resp_on="false")
        self.rule(3, forward=["boss@example.org"], key_where="subj", keystr="absent")
        self.rule(4, forward=["chief@example.org"])
        self.assertEqual([call.args[2:] for call in self.deliver().calls],
                         [[BOX, "boss@example.org"], [BOX, SENDER],
                          [BOX, "chief@example.org"], [BOX, SENDER]])
