"""docs/PANEL.md: its statements are run in their order, and its fields are those of the explanation."""

import json
import os
import re
import subprocess

from support.case import BOX, SENDER, PanelCase, mail
from support.database import REPOSITORY

PAGE = (REPOSITORY / "docs/PANEL.md").read_text()
PARAGRAPHS = PAGE.split("\n\n")
STEPS = {words: block for words, block in zip(PARAGRAPHS, PARAGRAPHS[1:]) if block.startswith("```sql\n")}
FIELDS = {path.strip("`"): re.findall(r"`(\w+)`", cell) for path, cell in
          re.findall(r"^\| (the document|`[\w.\[\]]+`) \| (.*) \|$", PAGE.split("| object | its fields |")[1], re.M)}


def objects(value: object, path: str = "") -> list[tuple[str, list[str]]]:
    """The objects of a document and their fields; the elements of an array are at PATH[]."""
    if isinstance(value, list):
        return [found for element in value for found in objects(element, path + "[]")]
    if not isinstance(value, dict):
        return []
    return [(path or "the document", list(value))] + [
        found for key, inner in value.items() for found in objects(inner, f"{path}.{key}".lstrip("."))]


class Panel(PanelCase):
    def fill(self) -> None:
        pass

    def explain(self, message: str, recipient: str) -> dict:
        self.box.extra = ["--ro-bind", os.environ["OVK_EXPLAIN"], "/explain"]
        command = self.box.command(None)[:-1] + ["/explain", "--json", recipient]
        return json.loads(subprocess.run(command, input=message.encode(), capture_output=True).stdout)

    def test_step_by_step(self) -> None:
        steps = {words: block[len("```sql\n"):-len(";\n```")] for words, block in STEPS.items()}

        def step(words: str) -> None:
            self.database.execute(steps.pop(next(known for known in steps if known.startswith(words))))

        step("A client, a domain")
        step("A rule that answers")
        price = mail(subject="The price?")
        self.assert_answered(self.deliver(price))
        step("A colleague gets")
        run = self.deliver(price, "orders@example.com")
        self.assertEqual([call.args[3:] for call in run.calls], [["colleague@example.com"], [SENDER]])
        self.assert_silent(self.deliver(price))  # twice a day
        step("Forget who")
        step("Attachments are files")
        (self.box.attachments(BOX) / "prices.txt").write_text("1\n")
        run = self.deliver(price)
        self.assertEqual([call.args[3:] for call in run.calls],
                         [["colleague@example.com"], ["anna@example.com"], [SENDER]])
        self.assertIn(b'filename="prices.txt"', run.calls[2].message)
        self.compare_fields(price)
        step("Switch the rule off")
        self.assertEqual(self.database.rows("select resp_on from mail_resp"), [["true"]])
        step("Remove the rule")
        step("Remove the mailbox")
        for table in ("mail", "mail_aliases", "mail_resp", "resp_forward", "resp_attach", "resp_freq"):
            self.assertEqual(self.database.rows(f"select count(*) from {table}"), [["0"]], table)
        self.assertEqual(steps, {})

    def compare_fields(self, price: str) -> None:
        self.rule(id=90, keystr="price", key_where="body")  # another place, no limit reached
        told = [found for recipient in (BOX, "nobody@example.com")
                for found in objects(self.explain(price, recipient))]
        self.database.execute("delete from mail_resp where id = 90")
        for path, fields in told:
            path = path.replace("elsewhere[]", "found")
            self.assertEqual(fields, FIELDS.get(path), path)
        self.assertEqual(set(FIELDS) - {path for path, _ in told}, set())
