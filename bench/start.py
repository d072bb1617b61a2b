"""start.py BUILD-FOLDER [PAIRS [PROGRAM]]: what one answered mail costs, against the floor (bench/floor.c), on a
host with /etc/ovk/ovk.conf and on one without. With another build of the program that one takes its turns
too, and first answers are measured besides; the goals for it are those beside version 1.0.

sendmail only reads its input. A do-nothing spawn is measured along and subtracted from none."""

import sys

from common.bench import MAILBOX, NOTHING, PROGRAM, Bench, arguments, table
from support.case import SENDER, mail

GOALS = {"wall": 0.75, "CPU": 0.75, "peak memory": 1.0}
KNOWN, FIRST = {"wall": 1.10, "CPU": 1.06}, {"wall": 1.02, "CPU": 1.00}
FLOOR = ["/program/floor", SENDER, MAILBOX, "1", "1"]
# Each row is one of an earlier day, so each answer is a first one.
FORGETFUL = "alter table ovk.resp_freq modify time_resp timestamp not null default '2020-01-01'"


def check(asked: list[str], expected: list[str]) -> None:
    """Ends the bench unless what the floor asks is asked, in that order; what guards it may lie between."""
    rest = iter(asked)
    if not all(statement in rest for statement in expected):
        sys.exit(f"start: program and floor ask for different things:\n{asked}\n{expected}")


def measure(bench: Bench, pairs: int, host: str) -> None:
    bench.turns("mail", 1, [PROGRAM])  # the sender is known from here on
    asked, expected = bench.statements("mail", [PROGRAM]), bench.statements("mail", FLOOR)
    check(asked, expected)
    program, floor, nothing, *other = bench.turns("mail", pairs, [PROGRAM], FLOOR, [NOTHING], *bench.others)
    print(f"start, {host}: one small mail, one answering rule; {len(asked)} statements, the floor's"
          f" {len(expected)}; medians of {pairs} pairs; a do-nothing spawn takes {nothing.wall:.2f} ms")
    table(program, floor, "floor", GOALS, host)
    for figures in other:
        print("an answer to a known sender")
        table(program, figures, "other", KNOWN)


def main() -> None:
    build, pairs = arguments(300)
    with Bench(build, floor=build / "bench/floor") as bench:
        bench.database.execute("insert into mail_resp (id, mn_id, text, resp_on, ans_freq)"
                               " values (1, 1, 'Thank you for your mail.', 'true', '1000000')")
        (bench.folder / "mail").write_text(mail())
        configuration = bench.box.etc / "ovk.conf"
        text = configuration.read_text()
        measure(bench, pairs, "with ovk.conf")
        configuration.unlink()
        measure(bench, pairs, "without it")
        if bench.others:
            bench.database.execute(FORGETFUL)
            for host in ("without ovk.conf", "with"):
                print(f"a first answer, {host}")
                table(*bench.turns("mail", pairs, [PROGRAM], *bench.others), "other", FIRST)
                configuration.write_text(text)


if __name__ == "__main__":
    main()
