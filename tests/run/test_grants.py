"""The rights of the database user that docs/OPERATION.md lists: enough for everything, and none too
many."""

import re

from support.case import BOX, PanelCase, mail
from sandbox.database import REPOSITORY

READ = re.findall(r"`(\w+)`", re.search(r"User `admin` needs `select` on (.*?), and ",
                                         (REPOSITORY / "docs/OPERATION.md").read_text(), re.S)[1])
GRANTS = {f"ovk.{table}": "select" for table in READ} | {"ovk.resp_freq": "select, insert, update, delete"}


class Grants(PanelCase):
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
