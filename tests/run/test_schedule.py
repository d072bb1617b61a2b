"""Rules that begin and end, and answers that count for some days, by the clock of the database server."""

import re

from support.case import BOX, SENDER, PanelCase, mail
from sandbox.database import REPOSITORY

BEGIN, END = "2026-12-01 08:00:00", "2026-12-15 00:00:00"


class Schedule(PanelCase):
    def setUp(self) -> None:
        super().setUp()
        self.new_panel("resp_schedule.sql")
        self.configure("SCHEDULE")
        # Whoever has these has a clock that nobody sets.
        self.database.execute("revoke super, connection admin on *.* from 'admin'@'localhost'")
        self.addCleanup(self.database.execute, "set global init_connect = '';"
                        " grant all privileges on *.* to 'admin'@'localhost'")

    def schedule(self, begins: str | None, ends: str | None, days: object = None) -> None:
        values = ", ".join("null" if value is None else f"'{value}'" for value in (begins, ends, days))
        self.database.execute(f"replace into resp_schedule values (1, {values})")

    def answers_at(self, now: str, sender: str = SENDER, recipient: str = BOX) -> int:
        self.database.execute(f"set global init_connect = 'set timestamp = unix_timestamp(\"{now}\")'")
        run = self.deliver(mail(sender=sender), recipient)
        self.assertEqual((run.status, run.err, run.leftovers), (0, "", []))
        return len(run.calls)

    def test_begin_and_end_to_the_second(self) -> None:
        """Outside its time a rule is as one that is off; one without a row is as ever."""
        self.rule(1, forward=["boss@example.org"], ans_freq="9")
        self.rule(2, text="Always.", ans_freq="99")
        self.configure("SCHEDULE", "LOG")
        log = self.system_log()
        for begins, ends, now, answers in (
            (BEGIN, END, "2026-12-01 07:59:59", 0), (BEGIN, END, BEGIN, 2),
            (BEGIN, END, "2026-12-14 23:59:59", 2), (BEGIN, END, END, 0),
            (None, END, "2001-01-01 00:00:00", 2), (None, END, "2037-01-01 00:00:00", 0),
            (BEGIN, None, "2001-01-01 00:00:00", 0), (BEGIN, None, "2037-01-01 00:00:00", 2),
            (None, None, BEGIN, 2), (END, BEGIN, "2026-12-05 00:00:00", 0),
        ):
            with self.subTest(now, begins=begins, ends=ends):
                self.database.execute("truncate resp_freq; insert into resp_freq (rn_id, email, num,"
                                      " time_resp) values (1, 'early@client.example', 1, '2000-01-01')")
                self.schedule(begins, ends)
                self.assertEqual(self.answers_at(now), answers + 1)
                self.assertIn(b"rule 1=answered" if answers else b"rule 1=not in its time, rule 2=answered",
                              log.recv(4096))
                self.assertEqual(self.database.rows("select email from resp_freq where rn_id = 1"),
                                 [[SENDER if answers else "early@client.example"]])

    def test_how_many_days_answers_count(self) -> None:
        self.rule(ans_freq="1")
        self.database.execute("alter table resp_schedule modify days varchar(9)")
        for days, counted in ((None, 1), ("1", 1), ("2", 2), ("7", 7), ("366", 366),
                              ("0", 1), ("367", 1), ("7x", 1), ("-2", 1), ("", 1)):
            with self.subTest(days):
                self.database.execute("truncate resp_freq")
                self.schedule(None, None, days)
                day = lambda number: self.database.rows(f"select '{END}' + interval {number} day")[0][0]
                before = self.database.rows(f"select '{day(counted)}' - interval 1 second")[0][0]
                self.assertEqual([self.answers_at(now) for now in (day(0), before, day(counted))],
                                 [1, 0, 1])

    def test_the_count_begins_with_the_first_answer(self) -> None:
        self.rule(ans_freq="3", mem_limit="1")
        self.schedule(None, None, 7)
        answers = [self.answers_at(f"2026-12-{day:02} 12:00:00") for day in (1, 3, 6, 7, 8, 9)]
        self.assertEqual((answers, self.database.rows("select num from resp_freq")),
                         ([1, 1, 1, 0, 1, 1], [["2"]]))
        self.assertEqual(self.answers_at("2026-12-10 12:00:00", "ann@client.example"), 1)  # in his place
        self.assertEqual(self.answers_at("2026-12-11 12:00:00"), 1)
        self.assertEqual(self.database.rows("select email, num from resp_freq"),
                         [[SENDER, "1"]])

    def test_one_statement_where_the_host_wants_it(self) -> None:
        for id in (1, 2, 3):
            self.rule(id)
        for choice, statements in (("MODERN", 0), ("SCHEDULE", 1)):
            self.configure(choice)
            self.database.listen()
            self.assertEqual(len(self.deliver().calls), 3)
            self.assertEqual(sum("resp_schedule" in text for text in self.database.heard()), statements)
        self.database.execute("drop table resp_schedule")
        self.assert_silent(self.deliver(), "autoresponder: Unable to exec query :"
                                           "Table 'ovk.resp_schedule' doesn't exist\n")

    def test_the_sample(self) -> None:
        self.database.load("panel.sql", "resp_schedule.sql", "sample.sql")
        example = (REPOSITORY / "schema/sample.sql").read_text().split("-- With resp_schedule.sql")[1]
        self.database.execute(re.sub("(?m)^-- ", "", example.split("\n", 1)[1]).strip().rstrip(";"))
        for now, answers in (("2026-12-20 23:59:59", 0), ("2026-12-21 00:00:00", 1),
                             ("2026-12-27 12:00:00", 0), ("2026-12-28 00:00:00", 1)):
            self.assertEqual(self.answers_at(now, recipient="holiday@example.com"), answers)
