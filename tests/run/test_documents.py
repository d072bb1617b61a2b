"""What the documents show is what happens: the statements of docs/PANEL.md, run in their order, its fields
of the explanation, the page of README.md, and the rights of the database user in docs/OPERATION.md."""

import json
import re
import textwrap

from support.case import BOX, SENDER, PanelCase, mail
from sandbox.database import REPOSITORY

SAMPLE_SENDER = "customer@client.example"
PAGE = (REPOSITORY / "docs/PANEL.md").read_text()
PARAGRAPHS = PAGE.split("\n\n")
STEPS = {words: block for words, block in zip(PARAGRAPHS, PARAGRAPHS[1:]) if block.startswith("```sql\n")}
FIELDS = {path.strip("`"): re.findall(r"`(\w+)`", cell) for path, cell in
          re.findall(r"^\| (the document|`[\w.\[\]]+`) \| (.*) \|$", PAGE.split("| object | its fields |")[1], re.M)}

READ = re.findall(r"`(\w+)`", re.search(r"User `admin` needs `select` on (.*?), and ",
                                         (REPOSITORY / "docs/OPERATION.md").read_text(), re.S)[1])
GRANTS = {f"ovk.{table}": "select" for table in READ} | {"ovk.resp_freq": "select, insert, update, delete"}


def objects(value: object, path: str = "") -> list[tuple[str, list[str]]]:
    """The objects of a document and their fields; the elements of an array are at PATH[]."""
    if isinstance(value, list):
        return [found for element in value for found in objects(element, path + "[]")]
    if not isinstance(value, dict):
        return []
    return [(path or "the document", list(value))] + [
        found for key, inner in value.items() for found in objects(inner, f"{path}.{key}".lstrip("."))]


class Documents(PanelCase):
    def explain(self, message: str, *arguments: str) -> str:
        return self.run_explain(message, *arguments, LANG="C.UTF-8").stdout.decode()

    def test_page(self) -> None:
        """README's page leaves lines out."""
        page = re.search(r"^    # .*autoresponder-explain .*\n((?:(?:    .*)?\n)+)",
                         (REPOSITORY / "README.md").read_text(), re.M)[1]
        self.database.load("panel.sql", "sample.sql")
        (self.box.attachments(BOX) / "price list.txt").write_bytes(b"x" * 2000)
        message = mail("Question", "How much is it?\nThe Price of the red one, please?\n", sender=SAMPLE_SENDER,
                       headers="Date: Wed, 25 Nov 2026 09:14:00 +0000\n"
                               "Content-Type: text/plain; charset=utf-8\n")
        told = iter(self.explain(message, BOX).splitlines())
        for line in textwrap.dedent(page).strip().splitlines():
            self.assertIn(line, told)

    def test_step_by_step(self) -> None:
        steps = {words: block[len("```sql\n"):-len(";\n```")] for words, block in STEPS.items()}

        def step(words: str) -> None:
            self.database.execute(steps.pop(next(known for known in steps if known.startswith(words))))

        self.database.load("panel.sql")
        step("A client, a domain")
        step("A rule that answers")
        price = mail(subject="The price?")
        self.assert_answered(self.deliver(price))
        step("A colleague gets")
        run = self.deliver(price, "orders@example.com")
        self.assertEqual([call.args[3:] for call in run.calls], [["colleague@example.com"], [SENDER]])
        self.assert_silent(self.deliver(price))  # twice a day
        step("Forget who")
        self.database.execute((REPOSITORY / "schema/resp_schedule.sql").read_text().rstrip().rstrip(";"))
        with (self.box.etc / "ovk.conf").open("a") as conf:
            conf.write("AUTORESPONDER_SCHEDULE true\n")
        step("Let the rule begin")
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
        step("Remove a mailbox")
        for table in ("mail", "mail_aliases", "mail_resp", "resp_forward", "resp_attach", "resp_freq",
                      "resp_schedule"):
            self.assertEqual(self.database.rows(f"select count(*) from {table}"), [["0"]], table)
        self.assertEqual(steps, {})

    def compare_fields(self, price: str) -> None:
        self.rule(id=90, keystr="price", key_where="body")  # another place, no limit reached
        told = [found for recipient in (BOX, "nobody@example.com")
                for found in objects(json.loads(self.explain(price, "--json", recipient)))]
        self.database.execute("delete from mail_resp where id = 90")
        for path, fields in told:
            path = path.replace("elsewhere[]", "found")
            self.assertEqual(fields, FIELDS.get(path), path)
        self.assertEqual(set(FIELDS) - {path for path, _ in told}, set())


class Grants(PanelCase):
    """They are enough for everything, and none too many."""

    def setUp(self) -> None:
        super().setUp()
        self.database.execute("revoke all privileges on *.* from 'admin'@'localhost'")
        for table, rights in GRANTS.items():
            self.database.execute(f"grant {rights} on {table} to 'admin'@'localhost'")
        self.addCleanup(self.database.execute,
                        "grant all privileges on *.* to 'admin'@'localhost'")
        self.configure("REFUSE_AUTOMATIC")
        self.rule(forward=["boss@example.org"], attach=["missing.txt"], ans_freq="100", mem_limit="1")

    def test_enough(self) -> None:
        for sender in ("joe@client.example", "joe@client.example", "ann@client.example"):
            self.assert_answered(self.deliver(mail(sender=sender)), 3)
        run = self.deliver(recipient="sales@example.net")
        self.assertEqual((run.status, len(run.calls)), (0, 2))  # an alias domain has no client
        self.assertEqual(self.database.rows("select count(*) from ovk.resp_freq"), [["1"]])

    def test_none_too_many(self) -> None:
        for table in GRANTS:
            with self.subTest(table):
                self.database.execute(f"revoke select on {table} from 'admin'@'localhost'")
                recipient = "sales@example.net" if table == "ovk.domainaliases" else BOX
                self.assertIn("denied to user", self.deliver(recipient=recipient).err)
                self.database.execute(f"grant select on {table} to 'admin'@'localhost'")
