"""No text leaves its literal, whatever the server takes a backslash, a quote or a byte for."""

import re

from support.case import SENDER, PanelCase, mail

MODES = ([], ["--sql-mode=NO_BACKSLASH_ESCAPES"], ["--sql-mode=ANSI_QUOTES"],
         ["--sql-mode=NO_BACKSLASH_ESCAPES,ANSI_QUOTES"],
         *(["--skip-character-set-client-handshake", f"--character-set-server={charset}"]
           for charset in ("gbk", "sjis", "big5")))
# Among them bytes that begin a character of two in those charsets, whose second may be a backslash.
PREFIXES = ("", "x", "\\", "\\\\", "\udcbf", "\udc81", "\udca1\\", "\u00e9", '"')
INJECTED = "' union select 1, 2, 3 -- "


class Escaping(PanelCase):
    def test_in_every_mode(self) -> None:
        for options in MODES:
            with self.subTest(options):
                self.database.kill()
                self.database.start(*options)
                self.new_panel()
                self.rule(ans_freq="1", attach=["gone"])
                self.assert_answered(self.deliver(), 2)
                self.recipients()
                self.senders()
                self.parameters()

    def recipients(self) -> None:
        for prefix in PREFIXES:
            for name in (f"{prefix}{INJECTED}@example.com", f"sales@{prefix}{INJECTED}"):
                run = self.deliver(recipient=name)
                self.assert_silent(run, run.err)
                # The second is what the server says of bytes that are no text.
                self.assertRegex(run.err, f"Mailname not found: {re.escape(name)}\n|Illegal mix of coll")
        self.database.execute("insert into mail (id, dom_id, mail_name) values (2, 1, 'o''brien')")
        self.rule(2, mn_id=2)
        self.assert_answered(self.deliver(recipient="o'brien@example.com"))

    def senders(self) -> None:
        for prefix in PREFIXES:
            local = prefix.replace("\\", "\\\\").replace('"', '\\"')
            sender = f"\"{local}' or num=1 -- \"@client.example"
            message = mail(sender=sender).encode(errors="surrogateescape")
            self.database.execute(f"delete from resp_freq where email <> '{SENDER}'")
            for calls in (2, 0):
                run = self.deliver(message)
                self.assertEqual((run.status, run.err, len(run.calls)), (0, "", calls), sender)
            # In hexadecimal, for clients differ in which backslashes they escape where letters have two bytes.
            self.assertEqual(
                sorted(self.database.rows("select hex(email), num from resp_freq where rn_id = 1")),
                sorted([re.sub(rb"[\x80-\xff]", lambda byte: b"\\x%02X" % ord(byte[0]),
                               address.encode(errors="surrogateescape")).hex().upper(), "1"]
                       for address in (sender, SENDER)))

    def parameters(self) -> None:
        """What other programs of the panel store."""
        values = ["', 'x') -- ", "\\', 'x') -- ", "\u00e9\\", '"\\""']
        calls = [call for value in values for call in (("put", "p", value), ("get", "p"))]
        self.assertEqual(self.run_probe(("open",), *calls).out.splitlines(),
                         ["[open]", *(line for value in values for line in ("[0]", f"[text {value}]"))])
