"""load.py BUILD-FOLDER [MAILS [PROGRAM...]]: many mails at once over many mailboxes, and afterwards a
count of every reply, forward and entry of the bookkeeping. Fails when one is missing or one too many. Other
builds of the program may be named, and take their turns."""

import itertools
import json
import pathlib
import statistics
import sys
from collections import Counter

from common.bench import Bench, record, server_cpu

AT_ONCE = (1, 2, 4, 8, 32)
MAILBOXES = 200
SENDERS = 1000  # of two mails each, where there are 2,000

# One driver in one sandbox: argument 1 says how many mails run at any time.
DRIVER = """
import json, os, sys, time
recipients = json.load(open("/bench/recipients"))
waiting = list(enumerate(recipients))[::-1]
running, ended = {}, []
begin = time.perf_counter()
while waiting or running:
    if waiting and len(running) < int(sys.argv[1]):
        number, recipient = waiting.pop()
        mail = os.open(f"/bench/{number}", os.O_RDONLY)
        start = time.perf_counter()
        pid = os.posix_spawn("/program/autoresponder", ["autoresponder"],
                             {"RESP_RECIPIENT": recipient},
                             file_actions=[(os.POSIX_SPAWN_DUP2, mail, 0)])
        os.close(mail)
        running[pid] = start
        continue
    pid, status = os.wait()
    ended.append(time.perf_counter() - running.pop(pid))
    if status:
        sys.exit(f"status {status}")
print(json.dumps([time.perf_counter() - begin, sorted(ended)]))
"""


def mailbox(number: int) -> int:
    return number % MAILBOXES + 1


def sender(number: int) -> str:
    return f"joe{number % SENDERS}@client.example"


def prepare(bench: Bench, mails: int) -> None:
    bench.empty_panel()
    ids = range(1, MAILBOXES + 1)
    bench.database.execute(
        "delete from mail; insert into mail (id, dom_id, mail_name) values "
        + ", ".join(f"({i}, 1, 'box{i}')" for i in ids)
        + "; insert into mail_resp (id, mn_id, text, resp_on, ans_freq) values "
        + ", ".join(f"({i}, {i}, 'Thank you.', 'true', '1000000')" for i in ids)
        + "; insert into resp_forward (rn_id, address) values "
        + ", ".join(f"({i}, '{name}{i}@example.org')" for i in ids for name in ("a", "b")))
    for number in range(mails):
        (bench.folder / str(number)).write_text(
            f"From: {sender(number)}\nSubject: load{number}\n\nHow are you?\n" + "text\n" * 100)
    (bench.folder / "recipients").write_text(
        json.dumps([f"box{mailbox(number)}@example.com" for number in range(mails)]))
    (bench.folder / "tally").write_text("")


def differences(bench: Bench, mails: int) -> tuple[int, int]:
    """How many replies, forwards and counts are missing, and how many are too many."""
    expected: Counter = Counter()
    for number in range(mails):
        box = mailbox(number)
        expected[f"{sender(number)} load{number}"] += 1
        expected[f"a{box}@example.org b{box}@example.org load{number}"] += 1
        expected[f"entry {box} {sender(number)}"] += 1
    found = Counter((bench.folder / "tally").read_text().splitlines())
    entries = bench.database.rows("select rn_id, email, num from resp_freq")
    for rule, email, num in entries:
        found[f"entry {rule} {email}"] += int(num or 0)
    doubled = len(entries) - len({(rule, email) for rule, email, _ in entries})
    return (expected - found).total(), (found - expected).total() + doubled


def main(build: pathlib.Path, mails: int = 2000, *others: pathlib.Path) -> None:
    ok = True
    with Bench(build) as bench:
        bench.box.sendmail = str(build / "bench/tally")
        bench.box.extra[bench.box.extra.index("--ro-bind")] = "--bind"  # /bench
        programs = [bench.box.program, *others]
        print(f"load: {mails} mails to {MAILBOXES} mailboxes, each with two forwards and a reply")
        print(f"{'at once':>8}{'mails/s':>10}{'median ms':>11}{'99% ms':>9}{'server CPU ms':>15}"
              f"{'lost':>6}{'doubled':>9}")
        for at_once, program in itertools.product(AT_ONCE, programs):
            bench.box.program = program
            prepare(bench, mails)
            cpu = server_cpu(bench)
            told = bench.inside("/usr/bin/python3", "-c", DRIVER, str(at_once))
            cpu = (server_cpu(bench) - cpu) / mails
            duration, seconds = json.loads(told)
            lost, doubled = differences(bench, mails)
            ok = ok and lost == doubled == 0
            if not others:
                record(at_once, mails / duration)
            print(f"{at_once:8}{mails / duration:10.0f}{statistics.median(seconds) * 1000:11.2f}"
                  f"{seconds[len(seconds) * 99 // 100] * 1000:9.2f}{cpu:15.2f}{lost:6}{doubled:9}"
                  f"  {program if others else ''}", flush=True)
    if not ok:
        sys.exit("load: mails were lost or doubled")


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]).resolve(), *map(int, sys.argv[2:3]),
         *(pathlib.Path(name).resolve() for name in sys.argv[3:]))
