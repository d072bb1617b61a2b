"""rules.py BUILD-FOLDER [ROUNDS]: what rules cost that are on and do not match.

Mailboxes of 1, 10, 100 and 1,000 rules get the same mail in turn: first with triggers in the subject of a small mail,
then in a body of 5 MB, of words and of what makes a plain search slow."""

from common.bench import PROGRAM, Bench, arguments
from support.case import mail, quote

GOAL = 20.0  # microseconds for a rule
COUNTS = (1, 10, 100, 1000)
MB = 1000000
WORDS = "The quick brown fox jumps over the lazy dog, and nobody minds it.\n"


def fill(bench: Bench, counts: tuple[int, ...], where: str, trigger: str) -> None:
    """A mailbox named after its number of rules for each of `counts`."""
    bench.empty_panel()
    for count in counts:
        rows = ", ".join(f"({count}, {quote(f'{trigger}{i}')}, '{where}', 'true', 'Thanks.')"
                         for i in range(1, count + 1))
        bench.database.execute(
            f"replace into mail (id, dom_id, mail_name) values ({count}, 1, 'box{count}');"
            f"insert into mail_resp (mn_id, keystr, key_where, resp_on, text) values {rows}")


def measure(bench: Bench, what: str, counts: tuple[int, ...], rounds: int, where: str,
            trigger: str, body: str, goal: float | None) -> None:
    (bench.folder / "mail").write_text(mail(body=body))
    fill(bench, counts, where, trigger)
    figures = bench.turns("mail", rounds, *([f"RESP_RECIPIENT=box{count}@example.com", PROGRAM]
                                            for count in counts))
    print(f"{what}\n{'rules':>8}{'wall ms':>10}{'CPU ms':>10}{'peak MB':>10}{'us a rule':>12}{'CPU':>11}  goal")
    for count, f in zip(counts, figures):
        a_rule = (f.wall - figures[0].wall) * 1000 / (count - 1) if count > 1 else 0.0
        cpu = (f.cpu - figures[0].cpu) * 1000 / (count - 1) if count > 1 else 0.0
        judged = goal is not None and count == counts[-1]  # fewer drown in noise
        said = f"at most {goal:.0f}" if judged else "-"
        missed = "  MISSED" if judged and a_rule > goal else ""
        print(f"{count:8}{f.wall:10.2f}{f.cpu:10.2f}{f.memory:10.2f}{a_rule:12.2f}{cpu:11.2f}"
              f"  {said}{missed}")


def main() -> None:
    build, rounds = arguments(50)
    few = max(3, rounds // 10)
    with Bench(build) as bench:
        print(f"rules: medians of {rounds} runs ({few} for bodies)")
        measure(bench, "triggers in the subject", COUNTS, rounds, "subj", "no such word ", "Hi.\n",
                GOAL)
        measure(bench, "triggers in a body of 5 MB of text", COUNTS, few, "body", "no such word ",
                WORDS * (5 * MB // len(WORDS)), None)
        measure(bench, "triggers in 5 MB of one letter, and of it themselves", COUNTS[:3], few,
                "body", "a" * 200, "a" * 5 * MB, None)


if __name__ == "__main__":
    main()
