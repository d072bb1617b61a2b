"""What the program does when something around it fails: faults.md says what is promised. A row there is
about one fault, or about one at each of the statements that end its name."""

import json
import os
import re
import shutil
import signal
from collections.abc import Callable, Iterator

from support.case import BOX, SENDER, PanelCase, mail
from sandbox.database import REPOSITORY
from support.proxy import Proxy
from sandbox.box import Call, Sandbox

# Runs the program as told; tells how it ended, how many children it left unwaited for, and what is
# in /tmp.
WATCH = """
import ctypes, glob, json, os, resource, signal, sys, time
told = json.loads(sys.argv[1])
PR_SET_CHILD_SUBREAPER = 36
ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
text = sys.stdin.buffer.read() if "pause" in told else b""
input, mail = os.pipe()
os.write(mail, text[:9])
pid = os.fork()
if pid == 0:
    if text:
        os.dup2(input, 0)
        os.set_blocking(0, not told.get("nonblocking"))
    for name, value in told.get("limits", {}).items():
        resource.setrlimit(getattr(resource, "RLIMIT_" + name), (value, value))
    for fd in told.get("close", []):
        os.close(fd)
    for ignored in (signal.SIGPIPE, signal.SIGXFSZ):  # by Python
        signal.signal(ignored, signal.SIG_DFL)
    os.execv(sys.argv[2], sys.argv[2:])
while text and not os.waitid(os.P_PID, pid, os.WEXITED | os.WNOHANG | os.WNOWAIT):
    time.sleep(0.01)
    if any(map(os.path.getsize, glob.glob("/tmp/ovk-autoresponder-*"))):
        os.kill(pid, told["pause"])  # 0 is no signal
        os.write(mail, text[9:])
        os.close(mail)
        break
status = os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1])
zombies = 0
try:
    while os.waitpid(-1, os.WNOHANG)[0]:
        zombies += 1
except ChildProcessError:
    pass
with open("/capture/end", "w") as end:
    json.dump([status, zombies, sorted(os.listdir("/tmp"))], end)
"""

COUNT = "select num from resp_freq where rn_id = 7 and email = 'joe@client.example'"
RECIPIENT = "orders@example.net"  # an alias at a domain alias: it takes all four lookups
TRIED_AGAIN = 111
KEPT = "autoresponder: Unable to take back what was counted for a mail to be tried again\n"
UNKNOWN = 1105  # an error of the server's like any other
DEADLOCK = 1213

# The statements of a run in their order.
STATEMENTS = {
    "SET NAMES": "SET NAMES",
    "lookup 1": "mail m, domains d where",
    "lookup 2": "ma, domains d where",
    "lookup 3": "mail m, domains d, domainaliases da where",
    "lookup 4": "ma, domains d, domainaliases da where",
    "rules": "from mail_resp",
    "lock": "GET_LOCK",
    "purge": "TO_DAYS",
    "count": "COUNT",
    "find": "select num.*'$",
    "begin": "^begin",
    "oldest": "MIN",
    "evict": "delete .* time_resp=",
    "insert": "^insert",
    "find again": "for update$",
    "update": "^update",
    "commit": "^commit",
    "unlock": "RELEASE_LOCK",
    "forward": "resp_forward",
    "attachments": "resp_attach",
    "client": "from clients",
    "admin_email": "admin_email",
    "FullHostName": "FullHostName",
}
NEVER_REPEATED = ("SET NAMES", "lookup 1", "lookup 2", "lookup 3", "lookup 4", "lock", "unlock", "client",
                  "admin_email", "FullHostName")
ERRORS = (1213, 1020, 3101, 1205, 1062, 1064, 1264, 1267, 1271, 1292, 1300, 1366, 1406)
SIGNALS = ("SIGHUP SIGINT SIGQUIT SIGTERM SIGUSR1 SIGUSR2 SIGALRM SIGVTALRM SIGPROF"
           " SIGXCPU").split()

Arrangement = Callable[["Faults"], object]


def all_of(*arrangements: Arrangement) -> Arrangement:
    return lambda case: [arrange(case) for arrange in arrangements]


def sql(*statements: str) -> Arrangement:
    return lambda case: [case.database.execute(statement) for statement in statements]


def behave(words: str) -> Arrangement:
    return lambda case: case.box.behave(words)


def write(path: str, content: str) -> Arrangement:
    return lambda case: (case.box.folder / path).write_text(content)


def harm(pattern: str, does: int | str | Callable[[int], object]) -> Arrangement:
    return lambda case: case.harm(pattern, does)


def as_directory(path: str) -> Arrangement:
    return lambda case: ((case.box.folder / path).unlink(missing_ok=True),
                         (case.box.folder / path).mkdir())


def tell(message: str | None = None, **told: object) -> Arrangement:
    return lambda case: (case.told.update(told), setattr(case, "message", message or case.message))


def subject(text: str) -> Arrangement:
    """A subject that the reply does not show."""
    return all_of(sql("update mail_resp set subject = 'Re: Hello'"), tell(mail(text)))


def tmp_of(size: int) -> Arrangement:
    return lambda case: setattr(case.box, "tmp_mount", ["--size", str(size), "--tmpfs", "/tmp"])


def huge_attachment(case: "Faults") -> None:
    os.truncate(case.box.attachments(BOX) / "here", 100 << 30)
    case.box.timeout = 30


LONG_NOTICE = sql("insert into resp_attach (rn_id, filename)"
                  " select 7, concat(repeat('x', 200), seq) from seq_1_to_1000")
NO_FORWARD = sql("delete from resp_forward")
NO_NOTICE = sql("delete from resp_attach where filename = 'gone'")
INTERRUPT = behave("slow term sleep 60000")
SHADOW = "etc/.ovk.shadow"
DATABYTES = "qmail/control/databytes"
SMALL_TMP = tmp_of(100 << 10)
OLD = tell(mail(headers="Received: by x; Mon, 23 Nov 2020 10:00:00 +0100\n"))
LARGE_FILES = tell(limits={"FSIZE": 50000})
TABLE = REPOSITORY / "tests/run/faults.md"
# The sanitizers want more of either, and a pipe to look at an object's type.
RELEASE_ONLY = ("100 KB of stack", "64 MB of address space, a mail of 30 MB", "no descriptor is left for the cell")


OTHER_FAULTS: dict[str, Arrangement] = {
    "no server": lambda case: case.lock_out(),
    "the server refuses: too many connections": harm("greeting", 1040),
    "the server hangs up on connecting": harm("greeting", "lose"),
    "the server is slow to greet": harm("greeting", "slow"),
    "every answer is slow": harm("", "slow"),
    "the server process is killed, in count": lambda case: case.kill_server("COUNT"),
    "the server process is killed, in forward": lambda case: case.kill_server("resp_forward"),
    "the mail is of another day, and the insert fails": all_of(OLD, harm("^insert", UNKNOWN)),
    "the mail is of another day, and sendmail exits with 75": all_of(OLD, behave("exit 75")),
    "another connection holds the lock": lambda case: case.hold_lock(),
    "every commit meets another run's": harm("^commit", DEADLOCK),
    "the connection is lost in a first answer's insert": all_of(
        sql("delete from resp_freq"), harm("^insert", "lose")),
    "the sender is an option of sendmail": tell(mail(sender="-C/tmp@x.test")),

    "sendmail is missing": lambda case: setattr(case.box, "sendmail", None),
    "sendmail exits with 75": behave("exit 75"),
    "sendmail exits with 67": behave("exit 67"),
    "sendmail dies by SIGKILL": behave("kill 9"),
    "sendmail is stopped": behave("kill 19"),
    "sendmail never reads": behave("noread sleep 100"),
    "sendmail never reads, and the notice is larger than a pipe": all_of(
        behave("noread sleep 100"), LONG_NOTICE),
    "sendmail reads slowly": behave("slow"),
    "sendmail closes its input early": behave("some"),

    "/tmp is not writable": lambda case: setattr(
        case.box, "tmp_mount", ["--ro-bind", str(case.box.tmp), "/tmp"]),
    "/tmp is too small for the mail": all_of(SMALL_TMP, tell(mail(body="long\n" * 60000))),
    "/tmp is too small for the reply": SMALL_TMP,
    "/tmp is too small for the reply, and nothing is forwarded": all_of(SMALL_TMP, NO_FORWARD),
    "/tmp is full, and an attachment has 100 GB": all_of(SMALL_TMP, huge_attachment),
    "/tmp has 2 GB, and an attachment has 100 GB": all_of(tmp_of(2 << 30), huge_attachment),
    "/tmp is gone when the rule answers": lambda case: case.lose_tmp(),
    "/tmp is gone when the rule answers, and nothing is forwarded": all_of(
        NO_FORWARD, lambda case: case.lose_tmp()),
    "no descriptor is left for the cell": tell(limits={"NOFILE": 4}),
    "the attachments vanish between check and read": lambda case: case.harm(
        "from clients", lambda _: shutil.rmtree(case.box.attachments(BOX))),
    "databytes is a directory": as_directory(DATABYTES),
    "databytes is 3000000, and an attachment has 100 GB": all_of(
        write(DATABYTES, "3000000"), huge_attachment),
    "ovk.conf is a directory": as_directory("etc/ovk.conf"),
    "the password file is empty": write(SHADOW, ""),

    "descriptor 0 closed": tell(close=[0]),
    **{f"descriptors {str(closed)[1:-1]} closed, and sendmail writes to both its outputs": all_of(
        tell(close=closed), behave("print")) for closed in ([1], [2], [1, 2])},
    "descriptors 1, 2 closed, and there is no /dev/null": all_of(
        tell(close=[1, 2]), behave("print"), lambda case: case.box.extra.extend(["--tmpfs", "/dev"])),
    "descriptors 0, 1, 2 closed": tell(close=[0, 1, 2]),
    "no more than 16 descriptors": tell(limits={"NOFILE": 16}),
    "standard input does not block, and the mail comes in two pieces": tell(pause=0, nonblocking=True),
    "no file may be larger than 1 MB, the mail is": tell(
        mail(body="long\n" * 300000), limits={"FSIZE": 1 << 20}),
    "no file may be larger than 50 KB, the reply is": LARGE_FILES,
    "no file may be larger than 50 KB, and nothing is forwarded": all_of(NO_FORWARD, LARGE_FILES),
    "100 KB of stack": all_of(subject("=?koi8-r?B?zs/X2cog2sHLwdo=?="), tell(limits={"STACK": 100 << 10})),
    "2 MB of rubbish in the subject's words": subject(
        f"=?utf-8?B?{'!' * 2000000}?= =?utf-8?Q?{'=zz' * 103}?="),
    "64 MB of address space, a mail of 30 MB": tell(
        mail(body="x" * 75 + "\n") + ("y" * 75 + "\n") * 400000, limits={"AS": 64 << 20}),

    **{f"{name} while the mail comes in": tell(pause=getattr(signal, name), limits={"CORE": 0})
       for name in SIGNALS},
    "SIGTERM while sendmail has the forward": INTERRUPT,
    "SIGTERM while sendmail has the notice": all_of(INTERRUPT, NO_FORWARD),
    "SIGTERM while the notice is written": all_of(behave("term sleep 60000"), NO_FORWARD, LONG_NOTICE),
    "SIGTERM while sendmail has the reply": all_of(INTERRUPT, NO_FORWARD, NO_NOTICE),
}


def faults() -> Iterator[tuple[str, str, Arrangement]]:
    for name, pattern in STATEMENTS.items():
        yield "the server returns an error for", name, harm(pattern, UNKNOWN)
        yield "the server is killed in", name, harm(pattern, "lose")
        yield "the server is killed behind", name, harm(pattern, "gone")
        yield "SIGTERM in", name, harm(pattern, lambda pid: os.kill(pid, signal.SIGTERM))
        if name not in NEVER_REPEATED:
            yield "a deadlock ends", name, harm(pattern, "deadlock")
    for error in ERRORS:
        yield "the insert fails by error", str(error), harm("^insert", error)
    for name, arrange in OTHER_FAULTS.items():
        if name not in RELEASE_ONLY or os.environ["OVK_SANITIZE"] != "1":
            yield name, "", arrange


class Faults(PanelCase):
    def setUp(self) -> None:
        super().setUp()
        self.database.execute("insert into domains (id, cl_id, name) values (2, 1, 'example.net')")

    # -- what faults arrange ---------------------------------------------------------------------

    def harm(self, pattern: str, harm: str | Callable[[int], object]) -> None:
        if pattern in ("for update$", "^update"):  # there has to be something to update
            self.database.execute("insert into resp_freq (rn_id, email, num)"
                                  f" values (7, '{SENDER}', 1)")
        self.proxy.pattern, self.proxy.harm = pattern, harm

    def lock_out(self) -> None:
        (self.proxy.folder / "mysqld.sock").unlink()

    def kill_server(self, pattern: str) -> None:
        self.harm(pattern, lambda _: self.database.kill())
        self.undo.append(lambda: (self.database.start(), self.database.execute("use ovk")))

    def hold_lock(self) -> None:
        self.database.listen()
        self.deliver(self.message, RECIPIENT)
        lock = re.search(r"GET_LOCK\((.*?),", "".join(self.database.heard()))[1]
        self.proxy.close()  # the next one takes its place
        self.prepare()
        self.database.execute(f"do get_lock({lock}, 0)")
        self.undo.append(lambda: self.database.execute(f"do release_lock({lock})"))

    def lose_tmp(self) -> None:
        # Another one takes its place, which the sandbox does not have.
        self.harm("resp_forward", lambda _: (shutil.rmtree(self.box.tmp), self.box.tmp.mkdir()))

    # -- one run ---------------------------------------------------------------------------------

    def prepare(self) -> None:
        self.box.close()
        self.box = Sandbox(os.environ["OVK_PROGRAM"], os.environ["OVK_SENDMAIL"], self.database)
        self.addCleanup(self.box.close)
        (self.box.attachments(BOX) / "here").write_text("x" * 90000)
        self.database.execute("; ".join(f"delete from {table}" for table in (
            "mail_resp", "resp_freq", "resp_forward", "resp_attach")))
        self.rule(7, mem_limit="1", forward=["boss@example.org"], attach=["here", "gone"])
        self.database.execute("insert into resp_freq (rn_id, email, num, time_resp)"
                              " values (7, 'early@client.example', 1, curdate())")
        self.told: dict[str, object] = {}
        self.message = mail()
        self.undo: list[Callable] = []
        self.proxy = Proxy(self.database.socket)
        self.undo.append(self.proxy.close)
        self.box.run_folder = self.proxy.folder

    def name(self, call: Call) -> str:
        kind = {"boss@example.org": "forward", "anna@alpha.test": "notice", SENDER: "reply"}[
            call.args[3]]
        self.assertEqual((call.descriptors, call.sigpipe), ([0, 1, 2], "default"))
        whole = self.message.encode() + b"\n" if kind == "forward" else self.whole.get(
            kind, call.message)
        if call.message == whole:
            return kind
        if b"exceeds databytes limit" in call.message:
            return "short " + kind
        if call.message == b"" or whole.startswith(call.message):
            return ("part of " if call.message else "unread ") + kind
        hollow = re.sub(rb"(?m)^[\w+/]{60}\n", b"", whole)
        return ("hollow " if call.message == hollow else "unknown ") + kind

    def observe(self, arrange: Arrangement, later: bool = False) -> str:
        """What comes of a run, in the words of the table."""
        self.prepare()
        if later:
            self.configure(RETRY_LATER=str(TRIED_AGAIN))
        try:
            arrange(self)
            count = self.database.rows(COUNT)
            self.box.wrapper = ["/usr/bin/python3", "-c", WATCH, json.dumps(self.told)]
            run = self.deliver(self.message, RECIPIENT)
        finally:
            for undo in self.undo:
                undo()
        self.assertEqual(self.proxy.pattern is not None, self.proxy.hits > 0)
        if run.status == TRIED_AGAIN and KEPT not in run.err:
            self.assertEqual(self.database.rows(COUNT), count)
        status, zombies, left = json.loads((self.box.capture / "end").read_text())
        self.assertEqual(zombies, 0)
        self.assertLessEqual(set(run.out.splitlines()),
                             {*run.err.splitlines(), "sendmail on standard output"})
        self.calls = run.calls
        sent = ", ".join(map(self.name, run.calls)) or "nothing"
        kinds = {"a": "copy", "r": "reply file"}
        left = ", ".join(kinds[name[4]] for name in left)
        # The pending system error is whatever the client library met last.
        said = re.sub(r"\n+System error \d+: .*|, system error: \d+", "", run.err)
        said = " / ".join(re.sub(r"(/tmp/ovk-[a-z-]+-)\w{6}", r"\1XXXXXX", said).splitlines())
        said = re.sub(r"(.+?)( / \1){9,}", lambda m: f"{m[1]} ({m[0].count(m[1])} times)", said)
        return ((f"status {status}" if status >= 0 else f"signal {-status}") + f"; sent {sent}"
                + f"; left {left}" * bool(left) + f"; said `{said}`" * bool(said))

    def test_faults(self) -> None:
        self.whole: dict[str, bytes] = {}
        self.assertEqual(self.observe(lambda _: None), "status 0; sent forward, notice, reply")
        self.whole = {self.name(call): call.message for call in self.calls}
        rows = {name: rest for name, *rest in (
            line[2:-2].split(" | ") for line in TABLE.read_text().splitlines() if line.startswith("| "))}
        del rows["fault"]  # the head
        untried = set(rows)
        for name, at, arrange in faults():
            with self.subTest(name, at=at):
                row = next(row for row in rows if row == name or row.startswith(name + " ")
                           and at in row.removeprefix(name + " ").split(", "))
                untried.discard(row)
                self.compare(arrange, *rows[row])
        self.assertLessEqual(untried, set(RELEASE_ONLY))

    def compare(self, arrange: Arrangement, promise: str, expected: str, later: str) -> None:
        self.assertEqual(self.observe(arrange), expected)
        if tries := re.match(r"(\d+) (tries|try),", promise):
            self.assertEqual(self.proxy.hits, int(tries[1]))
        if later == "the same":
            later = expected
        elif re.fullmatch(r"status \d+", later):
            later = expected.replace("status 0", later)
        if later:
            self.assertEqual(self.observe(arrange, later=True), later)
