"""What autoresponder-explain announces is what the program then does, and it changes nothing."""

import json
import os
import re
import subprocess
import unittest

from support.case import BOX, SENDER, PanelCase, mail, quote
from support.sandbox import Run

TABLES = ("clients", "domains", "domainaliases", "mail", "mail_aliases", "mail_resp", "resp_forward",
          "resp_attach", "resp_freq", "misc", "dom_param", "Parameters")
VARYING = re.compile(rb"^(Date|Message-ID): .*\n", re.M)
MULTIPART = "Content-Type: multipart/mixed; boundary=b\n"


class Explain(PanelCase):
    def setUp(self) -> None:
        super().setUp()
        self.box.extra = ["--ro-bind", os.environ["OVK_EXPLAIN"], "/explain"]
        self.conf = (self.box.etc / "ovk.conf").read_text()

    def explain(self, message: bytes | str | None, recipient: str, *options: str,
                environment: dict[str, str] = {}) -> subprocess.CompletedProcess:
        command = self.box.command(None)[:-1]
        for name, value in environment.items():
            command[-1:-1] = ["--setenv", name, value]
        data = message.encode() if isinstance(message, str) else message or b""
        before = self.database.rows("checksum table " + ", ".join("ovk." + name for name in TABLES))
        run = subprocess.run(command + ["/explain", *options, recipient], input=data,
                             capture_output=True, timeout=60)
        self.assertEqual(before, self.database.rows(
            "checksum table " + ", ".join("ovk." + name for name in TABLES)))
        self.assertEqual((self.box.calls(), list(self.box.tmp.iterdir())), ([], []))
        return run

    def compare(self, message: bytes | str, recipient: str = BOX) -> tuple[str, dict, Run]:
        """Explains, delivers, and compares; the page, the document, and what came of it."""
        self.box.forget_calls()
        text = self.explain(message, recipient)
        document = json.loads(self.explain(message, recipient, "--json").stdout)
        replies = [self.explain(message, recipient, "--reply", rule["id"])
                   for rule in document["rules"] if rule["outcome"] == "answered"]
        run = self.deliver(message, recipient)
        page = text.stdout.decode()
        verdict, rules = document["verdict"], document["rules"]
        told = []
        for rule in rules:
            forwarded = rule["outcome"] in ("answered", "refused", "failed")
            if forwarded and rule["forwards"]:
                told.append((recipient, rule["forwards"], None))
            if rule["outcome"] in ("answered", "failed") and rule["notice"]:
                told.append((rule["notice"]["envelope_sender"], [rule["notice"]["recipient"]], None))
            if rule["outcome"] == "answered":
                reply = replies.pop(0)
                self.assertEqual((reply.returncode, reply.stderr), (0, b""))
                told.append((rule["reply"]["envelope_sender"], [rule["reply"]["recipient"]],
                             VARYING.sub(b"", reply.stdout)))
        done = []
        for call, plan in zip(run.calls, told + [("", [], None)] * 9):
            args = [arg for arg in call.args if arg != "-i"]
            done.append((args[2], args[3:],
                         VARYING.sub(b"", call.message) if plan[2] is not None else None))
        self.assertEqual(told, done, page)
        self.assertEqual(text.returncode, 0 if verdict["replies"] else 1, page)
        self.assertEqual(run.status, int(any(rule["outcome"] == "failed" for rule in rules)), page)
        self.assertEqual(sum(verdict[kind] for kind in ("replies", "forwards", "notices")),
                         len(run.calls), page)
        for line in run.err.splitlines():
            self.assertIn(line.split(": ")[-1], page)
        return page, document, run

    def test_every_way_out(self) -> None:
        evil = "-C/tmp/x@client.example"
        folder = self.box.attachments(BOX)
        (folder / "list.txt").write_text("9.99\n" * 40)
        (folder / "kept").mkdir()
        os.mkfifo(folder / "pipe")
        for what, rule, message, words in (
            ("answered", {}, mail(), ["joe@client.example (From)", "2 lines", "rule 1 answers",
                                      "1 reply"]),
            ("off", {"resp_on": None}, mail(), ["rule 1 is switched off", "no rule is on"]),
        ):
            with self.subTest(what):
                self.database.execute("delete from mail_resp; delete from resp_freq;"
                                      "delete from resp_forward; delete from resp_attach")
                self.rule(**rule)
                page, _, _ = self.compare(message)
                print(page)
                for word in words:
                    self.assertIn(word, page)


if __name__ == "__main__":
    unittest.main()
