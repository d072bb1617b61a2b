"""stages.py BUILD-FOLDER [ROUNDS]: where the time of an answered mail goes.

Runs that end at one stage after the other, by turns with a spawn of a program that does nothing; the
difference between two lines is what the stage costs. Then, one stage at a time: statements, the server's
processor time and its disk syncs, with innodb_flush_log_at_trx_commit at 1 as servers have it."""

from common.bench import MAILBOX, NOTHING, PROGRAM, Bench, arguments, server_cpu
from support.case import SENDER, mail

PANEL = """
insert into mail (id, dom_id, mail_name) values (2, 1, 'empty'), (3, 1, 'limited');
insert into mail_resp (id, mn_id, text, resp_on, ans_freq)
    values (1, 1, 'Thank you for your mail.', 'true', '1000000'), (3, 3, 'Thank you.', 'true', '1');
set global innodb_flush_log_at_trx_commit = 1
"""
STAGES = {
    "a spawn that does nothing": [NOTHING],
    "empty mail: the start alone": ["</dev/null", PROGRAM],
    "own mail: read and copied": [f"RESP_RECIPIENT={SENDER}", PROGRAM],
    "no mailbox: connected": ["RESP_RECIPIENT=nobody@example.net", PROGRAM],
    "no rules: found": ["RESP_RECIPIENT=empty@example.com", PROGRAM],
    "limited: books read": ["RESP_RECIPIENT=limited@example.com", PROGRAM],
    "answered": [f"RESP_RECIPIENT={MAILBOX}", PROGRAM],
}


def status(bench: Bench, name: str) -> int:
    return int(bench.database.rows(f"show global status like '{name}'")[0][1] or 0)


def main() -> None:
    build, rounds = arguments(300)
    with Bench(build) as bench:
        bench.database.execute(f"{PANEL}; insert into resp_freq values (3, '{SENDER}', 1, now())")
        (bench.folder / "mail").write_text(mail())
        commands = [["2>/dev/null", *command] for command in STAGES.values()]
        figures = bench.turns("mail", rounds, *commands)
        print(f"stages: medians of {rounds} rounds by turns\n{'':30}{'wall ms':>9}{'more':>7}{'CPU ms':>9}{'more':>7}"
              f"{'statements':>12}{'server CPU ms':>15}{'disk syncs':>12}")
        before = figures[0]
        for name, command, f in zip(STAGES, commands, figures):
            asked = len(bench.statements("mail", command))
            cpu, syncs = server_cpu(bench), status(bench, "Innodb_data_fsyncs")
            bench.turns("mail", rounds, command)
            runs = rounds + max(1, rounds // 10)
            print(f"{name:30}{f.wall:9.2f}{f.wall - before.wall:7.2f}{f.cpu:9.2f}{f.cpu - before.cpu:7.2f}"
                  f"{asked:12}{(server_cpu(bench) - cpu) / runs:15.2f}"
                  f"{(status(bench, 'Innodb_data_fsyncs') - syncs) / runs:12.2f}", flush=True)
            before = f


if __name__ == "__main__":
    main()
