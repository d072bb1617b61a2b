"""start.py BUILD-FOLDER [PAIRS]: what one answered mail costs, against the floor (bench/floor.c).

sendmail only reads its input. A do-nothing spawn is measured along and subtracted from neither."""

import sys

from common.bench import MAILBOX, NOTHING, PROGRAM, Bench, arguments, table
from support.case import SENDER, mail

GOALS = {"wall": 0.75, "CPU": 0.75, "peak memory": 1.0}


def main() -> None:
    build, pairs = arguments(300)
    floor = ["/program/floor", SENDER, MAILBOX, "1", "1"]
    with Bench(build, floor=build / "bench/floor") as bench:
        bench.database.execute("insert into mail_resp (id, mn_id, text, resp_on, ans_freq)"
                               " values (1, 1, 'Thank you for your mail.', 'true', '1000000')")
        (bench.folder / "mail").write_text(mail())
        bench.turns("mail", 1, [PROGRAM])  # the sender is known from here on
        asked = bench.statements("mail", [PROGRAM])
        expected = bench.statements("mail", floor)
        if asked != expected:
            sys.exit(f"start: program and floor ask for different things:\n{asked}\n{expected}")
        program, reference, nothing = bench.turns("mail", pairs, [PROGRAM], floor, [NOTHING])
        print(f"start: one small mail, one answering rule, {len(asked)} statements;"
              f" medians of {pairs} pairs; a do-nothing spawn takes {nothing.wall:.2f} ms")
        table(program, reference, "floor", GOALS)


if __name__ == "__main__":
    main()
