"""What the parts of script/bench share: a panel in a sandbox, runs in turn, a table."""

import dataclasses
import os
import pathlib
import re
import statistics
import subprocess
import sys

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(REPOSITORY), str(REPOSITORY / "tests")]

from sandbox.database import Database  # noqa: E402
from sandbox.box import Sandbox  # noqa: E402

PROGRAM = "/program/autoresponder"
BESIDE = {"wall": 1.03, "CPU": 1.03}  # the build before
NOTHING = "/usr/sbin/sendmail"  # bench/sink.c
MAILBOX = "sales@example.com"
SCHEMA = """
insert into clients (id, login, pname, email) values (1, 'alpha', 'Anna Alpha', 'anna@alpha.test');
insert into domains (id, cl_id, name) values (1, 1, 'example.com');
insert into mail (id, dom_id, mail_name) values (1, 1, 'sales')
"""


@dataclasses.dataclass
class Figures:
    """Medians of one command's runs."""

    wall: float  # milliseconds
    cpu: float  # milliseconds
    memory: float  # MB at the peak
    faults: float


class Bench:
    """Mailbox MAILBOX without rules, and the built programs, in a sandbox whose /tmp is in memory.

    `folder` is seen as /bench by the programs. `others` has the command of another build, where the
    bench was given one behind the number of rounds."""

    def __init__(self, build: pathlib.Path, **programs: pathlib.Path) -> None:
        self.database = Database()
        self.box = Sandbox(str(build / "autoresponder/autoresponder"), str(build / "bench/sink"),
                           self.database)
        self.folder = self.box.folder / "bench"
        self.folder.mkdir()
        self.box.tmp_mount = ["--tmpfs", "/tmp"]
        self.box.extra += ["--ro-bind", str(self.folder), "/bench"]
        programs |= {"other": pathlib.Path(name).resolve() for name in sys.argv[3:4]}
        self.others = [["/program/other"]] * ("other" in programs)
        for name, path in programs.items() | {"turns": build / "bench/turns"}.items():
            self.box.extra += ["--ro-bind", str(path), f"/program/{name}"]
        self.empty_panel()

    def __enter__(self) -> "Bench":
        return self

    def __exit__(self, *_: object) -> None:
        self.box.close()
        self.database.close()

    def empty_panel(self) -> None:
        self.database.load("panel.sql")
        self.database.execute(SCHEMA)

    def inside(self, *command: str) -> str:
        """What `command` prints in the sandbox; the bench ends when it fails."""
        done = subprocess.run(self.box.command(MAILBOX)[:-1] + list(command), text=True,
                              stdin=subprocess.DEVNULL, capture_output=True)
        if done.returncode != 0 or done.stderr:
            sys.exit(f"{command[0]}: {done.stderr or done.returncode}")
        return done.stdout

    def turns(self, mail: str, rounds: int, *commands: list[str]) -> list[Figures]:
        """Runs the commands in turn, `mail` (a file of `folder`) on standard input."""
        words: list[str] = []
        for command in commands:
            words += ["--"] * bool(words) + command
        warm_up = max(1, rounds // 10)
        lines = self.inside("/program/turns", str(rounds), str(warm_up), f"/bench/{mail}",
                            "/dev/null", *words).splitlines()
        samples = [[float(value) for value in line.split()] for line in lines]
        medians = [[statistics.median(s[column] for s in samples if s[0] == number)
                    for column in (1, 2, 3, 4)] for number in range(len(commands))]
        return [Figures(wall / 1000, cpu / 1000, memory / 1024, faults)
                for wall, cpu, memory, faults in medians]

    def statements(self, mail: str, command: list[str]) -> list[str]:
        """What the command asks the database, names of locks and counts aside."""
        self.database.listen()
        self.turns(mail, 1, command)
        heard = self.database.heard()
        once = heard[len(heard) // 2:]  # the first run warmed up
        return [re.sub(r"(?<=_LOCK\(')[^']*|(?<=num=)\d+", "...", statement) for statement in once]


def server_cpu(bench: Bench) -> float:
    """Milliseconds so far; says what a mail costs the server also where the machine is busy."""
    pid = bench.database._server.pid
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) * 1000 / os.sysconf("SC_CLK_TCK")


def record(*values: object) -> None:
    """A line of figures for the part's plot, where script/bench --plot asks for them."""
    if folder := os.environ.get("OVK_FIGURES"):
        with open(f"{folder}/{pathlib.Path(sys.argv[0]).stem}.tsv", "a") as figures:
            print(*values, sep="\t", file=figures)


def table(program: Figures, reference: Figures, name: str, goals: dict[str, float],
          bars: str = "") -> None:
    """Prints program and reference, their ratio, and the goal where there is one; `bars` names them in
    the part's plot."""
    if bars:
        record(bars, "wall", program.wall, reference.wall)
        record(bars, "CPU", program.cpu, reference.cpu)
    rows = (("wall", "ms", program.wall, reference.wall),
            ("CPU", "ms", program.cpu, reference.cpu),
            ("peak memory", "MB", program.memory, reference.memory),
            ("page faults", "", program.faults, reference.faults))
    print(f"{'':16}{'program':>10}{name:>12}{'ratio':>8}  goal")
    for what, unit, ours, theirs in rows:
        goal = f"at most {goals[what]:.2f}" if what in goals else "-"
        ratio = ours / theirs
        missed = "  MISSED" if what in goals and ratio > goals[what] else ""
        print(f"{what + ' ' + unit:16}{ours:10.2f}{theirs:12.2f}{ratio:8.2f}  {goal}{missed}")


def tables(figures: list[Figures], name: str, goals: dict[str, float], plotted: str) -> None:
    """The program beside its reference, and beside another build where there is one."""
    program, reference, *others = figures
    table(program, reference, name, goals, plotted)
    for other in others:
        table(program, other, "other", BESIDE)


def arguments(rounds: int) -> tuple[pathlib.Path, int]:
    """The build folder, and how many rounds: `rounds` unless the caller says so."""
    return (pathlib.Path(sys.argv[1]).resolve(),
            int(sys.argv[2]) if len(sys.argv) > 2 else rounds)
