"""panel.py BUILD-FOLDER [MAILBOXES]: what one mail costs on a large panel: 200,000 mailboxes with a rule
that answers and four that do not match, and five bookkeeping rows for each rule.

The same for a hundredth and a tenth of that, with what a crowd gets done, and for all of it without indexes, with what the server
says about each statement of a run. Takes some minutes and 2 GB below /tmp."""

import json
import re
import statistics

from common.bench import PROGRAM, Bench, arguments, record, server_cpu
from load import DRIVER
from support.case import mail

CROWD = 1000  # mails to as many mailboxes, eight at a time
BOXES = 16  # mailboxes that a figure is taken from, all over the panel
MEMORY = ("set global innodb_buffer_pool_size = 2147483648; set global innodb_log_file_size = 536870912")
TEXT = "Thank you for your mail. We will be back on Monday and answer as soon as we can."
FILL = [
    "insert into domains (id, cl_id, name) select seq, 1, concat('d', seq, '.example') from {domains}",
    "insert into domainaliases (dom_id, name) select seq, concat('a', seq, '.example') from {domains}",
    "insert into mail (id, dom_id, mail_name) select seq, (seq - 1) div 10 + 1, concat('box', seq)"
    " from {boxes}",
    "insert into mail_aliases (mn_id, alias) select seq, concat('alias', seq) from {boxes}",
    "insert into mail_resp (id, mn_id, keystr, key_where, text, resp_on, ans_freq) select seq,"
    " (seq - 1) div 5 + 1, 'invoice', if(seq % 5 = 1, 'no', 'subj'), '" + TEXT + "', 'true', '1000000'"
    " from {rules}",
    "insert into resp_forward (rn_id, address) select seq, 'boss@example.org' from {boxes}",
    "insert into resp_attach (rn_id, filename) select 5 * seq, 'prices.txt' from {boxes}",
    "insert into resp_freq (rn_id, email, num) select (seq - 1) div 5 + 1,"
    " concat('sender', seq, '@client.example'), 1 from {books}",
]
WITHOUT_INDEXES = """
alter table domains drop key name, drop key cl_id;
alter table domainaliases drop key name, drop key dom_id;
alter table mail drop key dom_id_name;
alter table mail_aliases drop key alias, drop key mn_id;
alter table mail_resp drop key mn_id;
alter table resp_forward drop key rn_id;
alter table resp_attach drop key rn_id;
alter table resp_freq drop primary key
"""


def fill(bench: Bench, boxes: int) -> None:
    bench.database.load("panel.sql")
    sizes = {"domains": boxes // 10, "boxes": boxes, "rules": 5 * boxes, "books": 25 * boxes}
    for statement in FILL:
        bench.database.execute(statement.format_map(
            {name: f"seq_1_to_{size}" for name, size in sizes.items()}))
    bench.database.execute("analyze table " + ", ".join(
        re.search(r"into (\w+)", statement)[1] for statement in FILL))


def recipients(boxes: int, count: int, name: str, domain: str) -> list[list[str]]:
    ids = [boxes * i // count for i in range(1, count + 1)]
    return [[f"RESP_RECIPIENT={name}{id}@{domain}{(id - 1) // 10 + 1}.example", PROGRAM] for id in ids]


def rows_read(bench: Bench) -> int:
    return sum(int(value or 0) for _, value in bench.database.rows(
        "show global status like 'Handler_read%'"))


def mails_a_second(bench: Bench, boxes: int) -> float:
    words = recipients(boxes, min(CROWD, boxes), "box", "d")
    (bench.folder / "recipients").write_text(json.dumps([word[0].split("=")[1] for word in words]))
    for number in range(CROWD):
        (bench.folder / str(number)).write_text(mail(sender=f"joe{number}@client.example"))
    return len(words) / json.loads(bench.inside("/usr/bin/python3", "-c", DRIVER, "8"))[0]


def measure(bench: Bench, what: str, boxes: int, count: int, rounds: int) -> None:
    """Medians of the whole time, since the rows of a mailbox may not be in memory at first."""
    told = f"{what:26}"
    for name, domain in (("box", "d"), ("alias", "a")):
        rows, cpu = rows_read(bench), server_cpu(bench)
        figures = bench.turns("mail", rounds, *recipients(boxes, count, name, domain))
        runs = count * (rounds + max(1, rounds // 10))
        wall = statistics.median(f.wall for f in figures)
        if rounds > 1:
            record({"box": "to a mailbox", "alias": "to an alias at an alias domain"}[name], boxes, wall)
        told += (f"{wall:12.2f}"
                 f"{(server_cpu(bench) - cpu) / runs:10.2f}{(rows_read(bench) - rows) / runs:12,.0f}")
    print(told, flush=True)


def explain(bench: Bench, statements: list[str]) -> None:
    for statement in statements:
        print("  " + re.sub(r"^select .*? from", "select ... from", statement)[:90])
        for _, _, table, kind, _, key, _, _, rows, extra in bench.database.rows(
                "explain " + statement.replace("num=...", "num=1")):
            print(f"      {table or '-':14}{kind or '-':8}{key or '-':14}{rows or '-':>10}  {extra}",
                  flush=True)


def main() -> None:
    build, boxes = arguments(200000)
    with Bench(build) as bench:
        (bench.folder / "mail").write_text(mail())
        bench.database.execute(MEMORY)
        print(f"panel: medians over {BOXES} mailboxes\n{'':26}"
              f"{'name ms':>12}{'server ms':>10}{'rows':>12}"
              f"{'aliases ms':>12}{'server ms':>10}{'rows':>12}")
        for size in (boxes // 100, boxes // 10, boxes):
            fill(bench, size)
            measure(bench, f"{size:,} mailboxes", size, BOXES, 10)
            rates = [f"{mails_a_second(bench, size):.0f}" for _ in range(3)]
            print(f"{'':26}{', '.join(rates):>18} mails/s, eight at a time, in three rounds", flush=True)
        asked = [statement for statement in
                 bench.statements("mail", recipients(boxes, 1, "alias", "a")[0])
                 if re.match("select .* from|delete|update", statement)]
        explain(bench, asked)
        bench.database.execute(WITHOUT_INDEXES)
        explain(bench, asked)
        measure(bench, "the last, without indexes", boxes, 1, 1)


if __name__ == "__main__":
    main()
