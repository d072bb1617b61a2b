"""The reply-frequency limiter, seen in its statements and in its table."""

import functools
import re
from collections import Counter

from support.case import BOX, SENDER, PanelCase, mail, quote
from sandbox.database import REPOSITORY

RULE = 7
GOING_ON = b"autoresponder: Unable to lock reply bookkeeping, going on without\n"


def fnv_1a(text: str) -> int:
    return functools.reduce(lambda hash, byte: (hash ^ byte) * 0x100000001B3 % (1 << 64),
                            text.encode(), 0xCBF29CE484222325)


class Limiter(PanelCase):
    def entry(self, email: str, num: int | str | None = 1, ago: str = "0 second", rule: int = RULE):
        self.database.execute(
            f"insert into resp_freq (rn_id, email, num, time_resp) values"
            f" ({rule}, '{email}', {quote(num)}, now() - interval {ago})")

    def entries(self) -> list[list[str | None]]:
        return self.database.rows("select email, num from resp_freq order by email")

    def is_answered(self, sender: str = SENDER) -> bool:
        run = self.deliver(mail(sender=sender).encode(errors="surrogateescape"))
        self.assertEqual((run.status, run.err, run.leftovers), (0, "", []))
        self.assertIn(len(run.calls), (0, 2))  # forward and reply, or neither
        return len(run.calls) == 2

    def limited(self, **columns: object) -> None:
        self.only_rule(RULE, forward=["boss@example.org"], **columns)

    def statements(self) -> list[str]:
        self.database.listen()
        self.deliver()
        heard = self.database.heard()
        begin, end = (next(i for i, text in enumerate(heard) if name in text)
                      for name in ("GET_LOCK", "RELEASE_LOCK"))
        return heard[begin + 1:end]

    def test_statements(self) -> None:
        purge = f"delete from resp_freq where rn_id={RULE} and (TO_DAYS(NOW())-TO_DAYS(time_resp))>0"
        count = f"select COUNT(*) from resp_freq where rn_id={RULE}"
        find = f"select num from resp_freq where rn_id={RULE} and email='{SENDER}'"
        insert = f"insert into resp_freq set rn_id={RULE}, email='{SENDER}', num=1"
        oldest_of_none = [f"select MIN(time_resp) from resp_freq where rn_id={RULE}",
                          f"delete from resp_freq where rn_id={RULE} and time_resp='0'"]
        self.limited(mem_limit="0")
        self.assertEqual(self.statements(),
                         [purge, count, find, "begin", *oldest_of_none, insert, "commit"])
        self.limited(mem_limit="1")
        self.assertEqual(self.statements(), [purge, count, find, insert])
        self.assertEqual(self.statements(), [
            purge, count, find, "begin", find + " for update",
            f"update resp_freq set num=1+1 where rn_id={RULE} and email='{SENDER}'", "commit"])
        self.database.execute("update resp_freq set num=10")
        self.assertEqual(self.statements(), [purge, count, find])
        self.database.execute("update resp_freq set email='other@example.org',"
                              " time_resp=concat(curdate(), ' 00:00:00')")
        oldest = self.database.rows("select time_resp from resp_freq")[0][0]
        self.assertEqual(self.statements(), [
            purge, count, find, "begin", f"select MIN(time_resp) from resp_freq where rn_id={RULE}",
            f"delete from resp_freq where rn_id={RULE} and time_resp='{oldest}'", insert, "commit"])

    def test_limits(self) -> None:
        """The number is what the database spells, in a column of any type."""
        self.database.execute("alter table resp_freq modify num varchar(16)")
        for limit, before, answered in (
            ("1", "", True), ("1", "1", False), ("2", "1", True), ("10", "9", True),
            ("10", "10", False), (None, "9", True), (None, "10", False), (" +2x", "1", True),
            ("0", "", False), ("-1", "", False), ("", "", False), ("abc", "", False),
            ("4294967296", "5", True), ("010", "8", True), ("5", "99", False), ("7", "07", False),
            ("7", " 7", False), ("7", "6", True), ("7", "+7", False), ("1", None, True),
        ):
            with self.subTest(limit=limit, before=before):
                self.limited(ans_freq=limit)
                if before != "":
                    self.entry(SENDER, before)
                self.assertEqual(self.is_answered(), answered)
                after = str(int(before or 0) + 1) if answered else before
                self.assertEqual(self.entries(), [[SENDER, after]] if after else [])

    def test_day_boundary(self) -> None:
        for limit, left in (("1", [[SENDER, "1"]]), ("0", [])):
            self.limited(ans_freq=limit)
            self.entry(SENDER, 1, "1 day")
            self.entry("other@example.org", 1, "2 day")
            self.entry("elsewhere@example.org", 1, "1 day", rule=RULE + 1)
            self.assertEqual(self.is_answered(), limit == "1")
            self.assertEqual(self.entries(), [["elsewhere@example.org", "1"], *left])

    def test_eviction(self) -> None:
        self.limited(mem_limit="3")
        self.database.execute("set @day = curdate()")
        for email, minute in (("a@x.test", 1), ("b@x.test", 1), ("c@x.test", 2)):
            self.database.execute(
                f"insert into resp_freq (rn_id, email, num, time_resp) values ({RULE}, '{email}', 1,"
                f" timestampadd(minute, {minute}, timestamp(curdate())))")
        self.assertTrue(self.is_answered("a@x.test"))  # known: nobody has to go
        self.assertEqual(len(self.entries()), 3)
        self.assertTrue(self.is_answered("d@x.test"))  # both oldest go
        self.assertEqual([row[0] for row in self.entries()], ["c@x.test", "d@x.test"])
        self.assertTrue(self.is_answered("a@x.test"))
        self.assertEqual(self.entries()[0], ["a@x.test", "1"])

    def test_one_answer_whoever_the_sender_and_whatever_the_table(self) -> None:
        latin = "alter table resp_freq modify email varchar(320) character set latin1"
        no_key = latin + ", drop primary key; set global sql_mode = ''"
        broken = "caf\udce9\xdf@client.example"
        long = "и" * 112 + "@client.example"  # 239 bytes
        escaped = r"\xD0\xB8" * 112 + "@client.example"
        for sender, again, name, table in (
            ("o'brien@client.example", "", "", ""), ('"a\\\\b"@client.example', "", "", ""),
            ("😀@client.example", "", r"\xF0\x9F\x98\x80@client.example", ""),
            (broken, "", r"caf\xE9\xC3\x9F@client.example", ""),
            (broken, "", r"caf\xE9\xC3\x9F@client.example", latin),
            ("😀@client.example", "", r"\xF0\x9F\x98\x80@client.example", no_key),
            (long, "", escaped[:190] + str(fnv_1a(escaped)), no_key),
            (SENDER, SENDER + ".", SENDER, ""), (SENDER + ".", SENDER, SENDER, ""),
            (SENDER, "", "", "set global autocommit = 0"),
        ):
            with self.subTest(sender, table=table):
                self.new_panel()
                self.limited(ans_freq="1")
                if table:
                    self.database.execute(table)
                try:
                    answered = [self.is_answered(sender), self.is_answered(again or sender)]
                finally:
                    self.database.execute(
                        "set global autocommit = 1; set global sql_mode = default")
                self.assertEqual(answered, [True, False])
                self.assertEqual(self.entries(), [[name or sender, "1"]])

    def test_case_does_not_make_another_sender(self) -> None:
        """Neither where the column is bytes, nor where it is text that tells cases apart."""
        for column in ("varbinary(320)", "varchar(254) character set utf8mb4 collate utf8mb4_bin"):
            self.limited(ans_freq="1")
            self.database.execute(f"alter table resp_freq modify email {column}")
            heard = []
            for sender, calls in (("Alice@X.test", 2), ("alice@x.test", 0), ("ALICE@x.TEST", 0)):
                self.database.listen()
                run = self.deliver(mail(sender=sender))
                self.assertEqual(len(run.calls), calls, sender)
                heard.append([text for text in self.database.heard()
                              if re.search("GET_LOCK|select num", text)])
                if run.calls:
                    self.assertEqual(run.calls[1].args[3], sender)
                    self.assertIn(f"\nTo: {sender}\n", run.calls[1].message.decode())
            self.assertEqual(heard, [heard[0]] * 3)  # a crowd of them waits for one lock
            self.assertEqual(self.entries(), [["alice@x.test", "1"]])

    def answered_at_once(self, senders: list[str], said: bytes = b"") -> Counter:
        """How many replies each sender got to mails that all come in at the same time."""
        runs = self.box.run_at_once([mail(sender=sender) for sender in senders], BOX)
        self.assertEqual(set(runs), {(b"", said, 0)})
        calls = self.box.calls()
        self.assertEqual(sum(call.args[3] == "boss@example.org" for call in calls), len(calls) / 2)
        return Counter(call.args[3] for call in calls if call.args[3] != "boss@example.org")

    def test_the_limit_holds_in_a_crowd(self) -> None:
        lock = f"autoresponder-{RULE}-{fnv_1a(SENDER)}"
        begun = (f"insert into resp_schedule (rn_id, days) values ({RULE}, 7); insert into resp_freq values"
                 f" ({RULE}, '{SENDER}', 3, now() - interval 5 day)")
        for table, change, locked, left in (
            ("as it should be", "do 0", True, 10), ("and without the lock of the server", "do 0", False, 10),
            ("without its unique key", "alter table resp_freq drop primary key, add key (rn_id)", True, 10),
            ("without transactions", "alter table resp_freq drop primary key, engine=MyISAM", True, 10),
            ("with answers of some days", begun, True, 7),
        ):
            with self.subTest(table):
                self.new_panel("resp_schedule.sql")
                self.configure(*["SCHEDULE"] * (change == begun))
                self.limited(ans_freq="10")
                self.database.execute(change)
                if not locked:
                    self.database.execute(f"do get_lock('{lock}', 0)")
                replies = self.answered_at_once([SENDER] * 60, b"" if locked else GOING_ON)
                self.database.execute(f"do release_lock('{lock}')")
                self.assertEqual((replies, self.entries()), ({SENDER: left}, [[SENDER, "10"]]))

    def test_bringing_a_table_to_the_key(self) -> None:
        """Twins by a race, of which each later answer counted in both; one sender that has none."""
        before = ("alter table resp_freq drop primary key, add id bigint unsigned not null auto_increment,"
                  " add primary key (rn_id, email, id), add key id (id)")
        self.database.execute(before)
        for email, num, ago in (("a@x.test", 3, "1 second"), ("b@x.test", 2, "0 second"),
                                ("a@x.test", 3, "0 second"), ("a@x.test", None, "0 second")):
            self.entry(email, num, ago)
        first = self.database.rows("select min(time_resp) from resp_freq")
        self.database.execute((REPOSITORY / "schema/resp_freq.sql").read_text().rstrip().rstrip(";"))
        self.assertEqual(self.entries(), [["a@x.test", "5"], ["b@x.test", "2"]])
        self.assertEqual(self.database.rows("select time_resp from resp_freq where num=5"), first)
        after = self.database.rows("show create table resp_freq")
        self.database.load("panel.sql")
        self.assertEqual(after, self.database.rows("show create table resp_freq"))

    def test_a_crowd_of_senders_and_little_memory(self) -> None:
        self.limited(mem_limit="20")
        for number in range(10):
            self.entry(f"early{number}@client.example", ago=f"{number % 3} day")
        senders = [f"joe{number}@client.example" for number in range(60)]
        self.assertEqual(self.answered_at_once(senders), dict.fromkeys(senders, 1))
        remembered = self.entries()
        self.assertEqual({num for _, num in remembered}, {"1"})
        self.assertEqual(len({email for email, _ in remembered}), len(remembered))
        self.assertLessEqual({email for email, _ in remembered},
                             {*senders, *(f"early{n}@client.example" for n in (0, 3, 6, 9))})
