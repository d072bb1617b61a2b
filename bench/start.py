"""start.py BUILD-FOLDER [PAIRS]: what one answered mail costs, against the floor (bench/floor.c).

Program and floor run in turn within one sandbox, over one server; a do-nothing spawn is measured
along and subtracted from neither."""

import json
import pathlib
import statistics
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests"))

from support.case import BOX, SENDER, mail  # noqa: E402
from support.database import Database  # noqa: E402
from support.sandbox import Sandbox  # noqa: E402

INSIDE = """
import json, os, sys, time
runs = json.loads(sys.argv[1])
for i in range(runs["warm up"] + runs["count"]):
    for name, command in runs["commands"].items():
        mail = os.open("/bench/mail", os.O_RDONLY)
        start = time.perf_counter()
        pid = os.posix_spawn(command[0], command, os.environ,
                             file_actions=[(os.POSIX_SPAWN_DUP2, mail, 0)])
        _, status, usage = os.wait4(pid, 0)
        wall = time.perf_counter() - start
        os.close(mail)
        if status:
            sys.exit(f"{name} failed: {status}")
        if i >= runs["warm up"]:
            print(json.dumps([name, wall, usage.ru_utime + usage.ru_stime, usage.ru_maxrss]))
"""

GOALS = {"wall": 0.75, "CPU": 0.75, "peak memory": 1.0}


def main(build: pathlib.Path, pairs: int) -> None:
    with Database() as database:
        database.load("panel.sql", "sample.sql")
        database.execute("insert into mail_resp (id, mn_id, text, resp_on, ans_freq) values"
                         " (100, 3, 'Thank you for your mail.', 'true', '1000000');"
                         "delete from mail_resp where id = 7")
        box = Sandbox(str(build / "autoresponder/autoresponder"), str(build / "bench/sink"),
                      database)
        try:
            bench = box.folder / "bench"
            bench.mkdir()
            (bench / "mail").write_text(mail())
            recipient = "holiday@example.com"
            box.extra += ["--ro-bind", str(bench), "/bench", "--ro-bind",
                          str(build / "bench/floor"), "/program/floor"]
            command = box.command(recipient)[:-1]
            commands = {"program": ["/program/autoresponder"],
                        "floor": ["/program/floor", SENDER, recipient, "3", "100"],
                        "nothing": ["/usr/sbin/sendmail"]}
            told = json.dumps({"warm up": 20, "count": pairs, "commands": commands})
            done = subprocess.run(command + ["/usr/bin/python3", "-c", INSIDE, told],
                                  capture_output=True, text=True)
            if done.returncode != 0:
                sys.exit(done.stderr)
            report([json.loads(line) for line in done.stdout.splitlines()], pairs)
        finally:
            box.close()


def report(samples: list[list], pairs: int) -> None:
    median = {name: [statistics.median(s[i] for s in samples if s[0] == name) for i in (1, 2, 3)]
              for name in ("program", "floor", "nothing")}
    print(f"start: one small mail, one answering rule; medians of {pairs} pairs")
    print(f"{'':14}{'program':>10}{'floor':>10}{'nothing':>10}{'ratio':>8}{'goal':>7}")
    for i, (what, unit, scale) in enumerate((("wall", "ms", 1000), ("CPU", "ms", 1000),
                                             ("peak memory", "MB", 1 / 1024))):
        a, b, c = (median[name][i] * scale for name in ("program", "floor", "nothing"))
        print(f"{what + ' ' + unit:14}{a:10.2f}{b:10.2f}{c:10.2f}{a / b:8.2f}{GOALS[what]:7.2f}")


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]).resolve(), int(sys.argv[2]) if len(sys.argv) > 2 else 200)
