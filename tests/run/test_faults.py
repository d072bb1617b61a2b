"""What the program does when something around it fails. The table of a run stands in faults.md; with
OVK_REWRITE=1 in the environment a run puts it there."""

import dataclasses
import functools
import itertools
import json
import os
import re
import shutil
import signal
from collections.abc import Callable

from support.case import BOX, SENDER, PanelCase, mail
from support.database import REPOSITORY
from support.proxy import Proxy
from support.sandbox import MAILNAMES, Call, Sandbox

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
RECIPIENT = "info@example.net"  # an alias at a domain alias: it takes all four lookups
ALL = "forward, notice, reply"
ANSWERED = "everything goes out as if nothing had been"
STOPS = "the run ends there: the message, status 0, nothing stays"
GOES_ON = "the run goes on"
UNSENT = "counts as sent, and the run goes on"
SIGTERM = "the temporary files go first, then the signal takes its course"
# What is worth trying again while nothing has been sent.
LATER = re.compile("Unable to (query:|exec)|to the mysql database|Could not create")
TRIED_AGAIN = 111
UNREAD = ", ".join("unread " + kind for kind in ALL.split(", "))

EXEC = "autoresponder: Unable to exec query :{}\n"
NOT_CONNECTED = "autoresponder: Unable to connect to the mysql database \n"
CONNECT = "autoresponder: Unable to connect to Orvek Database: {}\n" + NOT_CONNECTED
LOCK = "autoresponder: Unable to lock reply bookkeeping, going on without\n"
COUNTED = ("autoresponder: Connection lost while an answer was counted: it is not given, and may count"
           " all the same\n")
UNKNOWN = 1105  # an error of the server's like any other
PARAMETER = ("autoresponder: Unable to query parameter by query"
             " select val from misc where param='%s': {}\n")
NO_MAIL = ("Could not get sender's e-mail address from Reply-To: or From: headers.\n"
           "Abnormal exit.\n")
OPTION = "autoresponder: Address looks like an option: {}\n"
LOST = "Lost connection to server during query"
GONE = "Server has gone away"
HUNG_UP = "Lost connection to server at 'handshake: reading initial communication packet'"
KEPT = "autoresponder: Unable to take back what was counted for a mail to be tried again\n"

# The statements of a run in their order: name, pattern, what is said when one fails, and what has
# gone out by the end when nothing more is asked then (None: the run goes on).
STATEMENTS: list[tuple[str, str, str, str | None]] = [
    ("SET NAMES", "SET NAMES",
     "autoresponder: DB error (set names query) {}\n" + NOT_CONNECTED, ""),
    *((f"lookup {number}", pattern, "autoresponder: Unable to query: {}\n", "")
      for number, pattern in enumerate(("mail m, domains d where", "ma, domains d where",
                                        "mail m, domains d, domainaliases da where",
                                        "ma, domains d, domainaliases da where"), 1)),
    ("rules", "from mail_resp", EXEC, ""),
    ("lock", "GET_LOCK", LOCK, None),
    ("purge", "TO_DAYS", EXEC, ""),
    ("count", "COUNT", EXEC, ""),
    ("find", "select num.*'$", EXEC, ""),
    ("begin", "^begin", EXEC, ""),
    ("oldest", "MIN", EXEC, ""),
    ("evict", "delete .* time_resp=", EXEC, ""),
    ("insert", "^insert", EXEC, ""),
    ("find again", "for update$", EXEC, ""),
    ("update", "^update", EXEC, ""),
    ("commit", "^commit", EXEC, ""),
    ("unlock", "RELEASE_LOCK", "", None),
    ("forward", "resp_forward", EXEC, ""),
    ("attachments", "resp_attach", EXEC, "forward"),
    ("client", "from clients", "Unable to define client email and personal name :{}\n",
     "forward, reply"),
    ("admin_email", "admin_email", PARAMETER % "admin_email", None),
    ("FullHostName", "FullHostName", PARAMETER % "FullHostName", None),
]


@dataclasses.dataclass(frozen=True)
class Outcome:
    said: str = ""  # on standard error
    sent: str = ALL
    status: int = 0
    left: str = ""

    def __str__(self) -> str:
        ending = f"status {self.status}" if self.status >= 0 else f"signal {-self.status}"
        said = re.sub(r"(.+?)( / \1){9,}", lambda m: f"{m[1]} ({m[0].count(m[1])} times)",
                      " / ".join(self.said.splitlines()))
        return (f"{ending}; sent {self.sent or 'nothing'}" + f"; left {self.left}" * bool(self.left)
                + f"; said `{said}`" * bool(said))


def retried(said: str, sent: str = "") -> "Outcome":
    return Outcome(said, sent, TRIED_AGAIN)


TERMINATED = functools.partial(Outcome, status=-signal.SIGTERM)


@dataclasses.dataclass
class Fault:
    name: str
    promise: str
    expected: Outcome
    arrange: Callable[["Faults"], object]
    at: str = ""  # the statement that it befalls
    release_only: bool = False
    tries: int = 0  # of the statement, where they are bounded
    later: Outcome | None = None  # with AUTORESPONDER_RETRY_LATER, where nothing below says it

    def expected_later(self) -> Outcome:
        if self.later is not None:
            return self.later
        ends = self.expected.sent in ("", "notice") and LATER.search(self.expected.said)
        return dataclasses.replace(self.expected, status=TRIED_AGAIN) if ends else self.expected

    def matters_later(self) -> bool:
        return self.promise != SIGTERM and (self.expected.sent != ALL or self.later is not None)


def after_loss(first: int, text: str, said: str = "") -> Outcome:
    """What comes of a connection that is lost at statement `first`, where it fails with `text`."""
    for name, _, line, sent in STATEMENTS[first:]:
        said += line.format(text) if name != "lock" else ""  # it does not go on
        if sent is not None:
            return Outcome(said, sent)
        text = GONE
    return Outcome(said)


def statement_faults() -> list[Fault]:
    faults = []
    for number, (name, pattern, said, sent) in enumerate(STATEMENTS):
        connecting = name == "SET NAMES"
        error = Outcome(said.format("1105: Injected" if connecting else "Injected"),
                        ALL if sent is None else sent)
        promise = GOES_ON if sent is None else "no notice, but the reply" if sent.endswith(
            "reply") else STOPS
        rows = [
            ("the server returns an error for", promise, error, UNKNOWN),
            ("the server is killed in", "as for an error, there and at the next statements",
             after_loss(number, "2013: " + LOST if connecting else LOST,
                        COUNTED * (name == "commit")), "lose"),
            ("the server is killed behind", "as for an error at the next statements",
             after_loss(number + 1, GONE), "gone"),
            ("SIGTERM in", SIGTERM, TERMINATED(
                sent="forward" if name in ("attachments", "client", "admin_email", "FullHostName")
                else ""), lambda pid: os.kill(pid, signal.SIGTERM)),
        ]
        if said == EXEC:
            rows.append(("a deadlock ends", "the statement, or the whole bookkeeping, is tried again",
                         Outcome(), "deadlock"))
        faults += [Fault(title, promised, outcome, harm(pattern, does), name)
                   for title, promised, outcome, does in rows]
    return sorted(faults, key=lambda fault: (fault.name, str(fault.expected)))


def behave(words: str, *statements: str) -> Callable:
    return lambda case: (case.box.behave(words), [case.database.execute(s) for s in statements])


def write(path: str, content: str) -> Callable:
    return lambda case: (case.box.folder / path).write_text(content)


def harm(pattern: str, does: str | Callable) -> Callable:
    return lambda case: case.harm(pattern, does)


def as_directory(path: str) -> Callable:
    return lambda case: ((case.box.folder / path).unlink(missing_ok=True),
                         (case.box.folder / path).mkdir())


def tell(message: str | None = None, **told: object) -> Callable:
    return lambda case: (case.told.update(told), setattr(case, "message", message or case.message))


def subject(text: str, **told: object) -> Callable:
    """A subject that the reply does not show."""
    return lambda case: (case.database.execute("update mail_resp set subject = 'Re: Hello'"),
                         tell(mail(text), **told)(case))


def small_tmp(message: str) -> Callable:
    return lambda case: (setattr(case.box, "tmp_mount", ["--size", "102400", "--tmpfs", "/tmp"]),
                         setattr(case, "message", message))


def huge_attachment(case: "Faults", full: bool = True) -> None:
    if full:
        small_tmp(mail())(case)
    os.truncate(case.box.attachments(BOX) / "here", 100 << 30)
    case.box.timeout = 30


LONG_NOTICE = ("insert into resp_attach (rn_id, filename)"
               " select 7, concat(repeat('x', 200), seq) from seq_1_to_1000")
NO_FORWARD = "delete from resp_forward"
NO_NOTICE = "delete from resp_attach where filename = 'gone'"
INTERRUPT = "slow term sleep 60000"
SENDMAIL_MISSING = 'fork_execv: execv("/usr/sbin/sendmail") failed: No such file or directory\n'
SHADOW = "etc/.ovk.shadow"
DATABYTES = "qmail/control/databytes"
NOT_SENT = "autoresponder: Not sent, sendmail {}\n"
NO_COPY = "autoresponder: Unable to keep a copy of the mail\n"
SHORT = Outcome(sent="forward, notice, short reply")
OLD = mail(headers="Received: by x; Mon, 23 Nov 2020 10:00:00 +0100\n")
GIVEN_UP = "autoresponder: Given up, the mail is older than 24 hours\n"
CUT = Outcome("autoresponder: Not sent, the reply could not be written whole\n", "forward, notice")
NOT_OPENED = ("autoresponder: Failed to open temporary file with {} mail contents '/tmp/ovk-{}-XXXXXX':"
              " No such file or directory (2)\n")
COPY_GONE = NOT_OPENED.format("forward", "autoresponder")
UNREAD_LIMIT = "autoresponder: Unable to read '/var/qmail/control/databytes': Too many open files (24)\n"
REPLY_GONE = (NOT_OPENED.format("response", "response-uu")
              + "autoresponder: Send error: Failed to generate response mail contents\n")
NO_MEMORY = "autoresponder: Program failed due to exhausted memory\n"
FILE = f"{MAILNAMES}/example.com/sales/@attachments/here"


def other_faults() -> list[Fault]:
    return [
        Fault("no server", STOPS, Outcome(CONNECT.format(
            "Can't connect to local server through socket '/run/mysqld/mysqld.sock' (2)"), ""),
            lambda case: case.lock_out()),
        Fault("the server refuses: too many connections", STOPS,
              Outcome(CONNECT.format("Injected"), ""), harm("greeting", 1040)),
        Fault("the server hangs up on connecting", STOPS, Outcome(CONNECT.format(HUNG_UP), ""),
              harm("greeting", "lose")),
        Fault("the server is slow to greet", ANSWERED, Outcome(), harm("greeting", "slow")),
        Fault("every answer is slow", ANSWERED, Outcome(), harm("", "slow")),
        Fault("the server process is killed, in count", STOPS, Outcome(EXEC.format(LOST), ""),
              lambda case: case.kill_server("COUNT")),
        Fault("the server process is killed, in forward", STOPS, Outcome(EXEC.format(LOST), ""),
              lambda case: case.kill_server("resp_forward"),
              later=retried(EXEC.format(LOST) + CONNECT.format(HUNG_UP).replace(NOT_CONNECTED, KEPT))),
        Fault("the mail is of another day, and the insert fails", STOPS,
              Outcome(EXEC.format("Injected"), ""), lambda case: (
                  tell(OLD)(case), case.harm("^insert", UNKNOWN)),
              later=Outcome(EXEC.format("Injected") + GIVEN_UP, "")),
        Fault("the mail is of another day, and sendmail exits with 75", UNSENT, Outcome(), lambda case: (
            tell(OLD)(case), behave("exit 75")(case)), later=Outcome(
                NOT_SENT.format("ended with status 75") + GIVEN_UP, "forward")),
        Fault("another connection holds the lock", "waits 5 seconds, then goes on without",
              Outcome(LOCK), lambda case: case.hold_lock()),
        Fault("every commit meets another run's", "20 tries, then the message, and the run ends",
              Outcome(EXEC.format("Injected"), ""), harm("^commit", 1213), tries=20),
        Fault("the connection is lost in a first answer's insert", STOPS,
              Outcome(COUNTED + EXEC.format(LOST), ""), lambda case: (
                  case.database.execute("delete from resp_freq"), case.harm("^insert", "lose"))),
        *(Fault("the insert fails by error", promise, Outcome(EXEC.format("Injected"), ""),
                harm("^insert", error), str(error), tries=tries,
                later=None if tried else Outcome(EXEC.format("Injected"), ""))
          for errors, tries, tried, promise in (
              ([1213, 1020, 3101], 20, True, "20 tries, then the message, and the run ends"),
              ([1205], 2, True, "two tries, then the message, and the run ends"),
              ([1062, 1064, 1264, 1267, 1271, 1292, 1300, 1366, 1406], 1, False, STOPS))
          for error in errors),

        Fault("a forwarding address is an option of sendmail", "left out, the others get theirs",
              Outcome(OPTION.format("-C/tmp")), lambda case: case.database.execute(
                  "insert into resp_forward (rn_id, address) values (7, '-C/tmp')")),
        Fault("the sender is an option of sendmail", "no reply, and a forward within the limit",
              Outcome(OPTION.format("-C/tmp@x.test"), "forward"),
              tell(mail(sender="-C/tmp@x.test"))),
        Fault("the sender is longer than an address can be", STOPS,
              Outcome("Field From: address is too long\n", ""),
              tell(mail(sender="a" * 248 + "@x.test"))),

        Fault("sendmail is missing", UNSENT, Outcome(SENDMAIL_MISSING * 3, ""),
              lambda case: setattr(case.box, "sendmail", None),
              later=retried(SENDMAIL_MISSING + NOT_SENT.format("ended with status 255"))),
        Fault("sendmail exits with 75", UNSENT, Outcome(), behave("exit 75"),
              later=retried(NOT_SENT.format("ended with status 75"), "forward")),
        Fault("sendmail exits with 67", UNSENT, Outcome(), behave("exit 67"), later=Outcome(
            "autoresponder: Refused, sendmail ended with status 67\n" * 3, "forward, reply, notice")),
        Fault("sendmail dies by SIGKILL", UNSENT, Outcome(sent=UNREAD), behave("kill 9"),
              later=retried(NOT_SENT.format("was ended by signal 9"), "unread forward")),
        Fault("sendmail is stopped", UNSENT, Outcome(sent=UNREAD), behave("stop")),
        Fault("sendmail never reads", UNSENT, Outcome(sent=UNREAD), behave("noread sleep 100")),
        Fault("sendmail never reads, and the notice is larger than a pipe", UNSENT,
              Outcome(sent=UNREAD), behave("noread sleep 100", LONG_NOTICE)),
        Fault("sendmail reads slowly", ANSWERED, Outcome(), behave("slow")),
        Fault("sendmail closes its input early", UNSENT,
              Outcome(sent=UNREAD.replace("unread", "part of")), behave("some")),

        Fault("/tmp is not writable", STOPS,
              Outcome("Could not create a temporary file.\nAbnormal exit.\n", ""),
              lambda case: setattr(case.box, "tmp_mount",
                                   ["--ro-bind", str(case.box.tmp), "/tmp"])),
        Fault("/tmp is too small for the mail", "what reached the files is delivered",
              Outcome(sent="part of forward, notice, unread reply"),
              small_tmp(mail(body="long\n" * 60000)), later=retried(NO_COPY)),
        Fault("/tmp is too small for the reply", "what reached the file is delivered",
              Outcome(sent="forward, notice, part of reply"), small_tmp(mail()), later=SHORT),
        Fault("/tmp is too small for the reply, and nothing is forwarded",
              "what reached the file is delivered", Outcome(sent="notice, part of reply"),
              lambda case: (small_tmp(mail())(case), case.database.execute(NO_FORWARD)),
              later=Outcome(sent="short reply, notice")),
        Fault("/tmp is full, and an attachment has 100 GB",
              "what reached the file is delivered, at once",
              Outcome(sent="forward, notice, part of reply"), huge_attachment, later=SHORT),
        Fault("/tmp is gone when the rule answers", "no forward; no reply: status 1",
              Outcome(COPY_GONE + REPLY_GONE, "notice", 1),
              lambda case: case.harm("resp_forward", lambda _: case.lose_tmp()),
              later=retried(COPY_GONE)),
        Fault("the same, and nothing is forwarded", "no reply: status 1",
              Outcome(REPLY_GONE, "notice", 1),
              lambda case: (case.database.execute(NO_FORWARD),
                            case.harm("resp_forward", lambda _: case.lose_tmp())),
              later=retried(REPLY_GONE)),
        Fault("no descriptor is left for the reply", "no reply: status 1",
              Outcome(UNREAD_LIMIT + REPLY_GONE, "", 1, "copy"),
              lambda case: (case.database.execute(NO_FORWARD + "; delete from resp_attach"),
                            tell(limits={"NOFILE": 4})(case)), later=retried(UNREAD_LIMIT + REPLY_GONE)),
        Fault("the attachments vanish between check and read", "the reply without their content",
              Outcome(f"autoresponder: Failed to read attachement file '{FILE}':"
                      " No such file or directory (2)\n", "forward, notice, hollow reply"),
              lambda case: case.harm("from clients", lambda _: shutil.rmtree(
                  case.box.attachments(BOX)))),
        Fault("databytes is a directory", "no limit within reach, said once",
              Outcome("autoresponder: Unable to read '/var/qmail/control/databytes': Is a directory (21)\n"),
              as_directory(DATABYTES)),
        Fault("databytes is 3000000, and an attachment has 100 GB", "the short reply, at once",
              Outcome(sent="forward, notice, short reply"),
              lambda case: (write(DATABYTES, "3000000")(case), huge_attachment(case, False))),
        Fault("ovk.conf is a directory", "the defaults hold, said once",
              Outcome("autoresponder: Unable to read '/etc/ovk/ovk.conf': Is a directory (21)\n"),
              as_directory("etc/ovk.conf")),
        Fault("the password file is empty", STOPS, Outcome(
            "autoresponder: Unable to read admin password file: Success\n" + NOT_CONNECTED, ""),
            write(SHADOW, "")),
        Fault("the password is 150 bytes long", "its first 99 count", Outcome(),
              lambda case: case.long_password()),

        Fault("descriptor 0 closed", "an empty mail: refused", Outcome(NO_MAIL, ""),
              tell(close=[0])),
        *(Fault(f"descriptors {str(closed)[1:-1]} closed, and sendmail writes to both its outputs",
                "its lines end in /dev/null", Outcome("sendmail on standard error\n" * 3 * heard),
                lambda case, closed=closed: (tell(close=closed)(case), behave("print")(case)))
          for closed, heard in (([1], True), ([2], False), ([1, 2], False))),
        Fault("descriptors 1, 2 closed, and there is no /dev/null", ANSWERED, Outcome(),
              lambda case: (tell(close=[1, 2])(case), behave("print")(case),
                            case.box.extra.extend(["--tmpfs", "/dev"]))),
        Fault("descriptors 0, 1, 2 closed", "an empty mail: refused, unheard",
              Outcome(sent=""), tell(close=[0, 1, 2])),
        Fault("no more than 16 descriptors", ANSWERED, Outcome(), tell(limits={"NOFILE": 16})),
        Fault("standard input does not block, and the mail comes in two pieces", ANSWERED, Outcome(),
              tell(pause=0, nonblocking=True)),
        Fault("no file may be larger than 1 MB, the mail is", "what reached the files is delivered",
              Outcome(sent="part of forward, notice, reply"),
              tell(mail(body="long\n" * 300000), limits={"FSIZE": 1 << 20}), later=retried(NO_COPY)),
        Fault("no file may be larger than 50 KB, the reply is", "what reached the file is delivered",
              Outcome(sent="forward, notice, part of reply"), tell(limits={"FSIZE": 50000}),
              later=CUT),
        Fault("the same, and nothing is forwarded", "what reached the file is delivered",
              Outcome(sent="notice, part of reply"), lambda case: (
                  case.database.execute(NO_FORWARD), tell(limits={"FSIZE": 50000})(case)),
              later=retried(CUT.said)),
        Fault("100 KB of stack", ANSWERED, Outcome(),
              subject("=?koi8-r?B?zs/X2cog2sHLwdo=?=", limits={"STACK": 100 << 10}),
              release_only=True),
        Fault("2 MB of rubbish in the subject's Base64", "a hundred lines of a kind, and their number",
              Outcome("Bad base64 symbol: !\n" * 100 + "Bad base64 symbol: 1999900 more\n"),
              subject("=?utf-8?B?" + "!" * 2000000 + "?=")),
        Fault("64 MB of address space, a mail of 30 MB", "status 1, the copy stays",
              Outcome(NO_MEMORY, "", 1, "copy"),
              tell(mail(body="x" * 75 + "\n") + ("y" * 75 + "\n") * 400000,
                   limits={"AS": 64 << 20}), release_only=True, later=retried(NO_MEMORY)),

        *(Fault(f"{name} while the mail comes in", SIGTERM,
                Outcome(sent="", status=-getattr(signal, name)),
                tell(pause=getattr(signal, name), limits={"CORE": 0}))
          for name in "SIGHUP SIGINT SIGQUIT SIGTERM SIGUSR1 SIGUSR2 SIGALRM SIGVTALRM SIGPROF"
                      " SIGXCPU".split()),
        Fault("SIGTERM while sendmail has the forward", SIGTERM, TERMINATED(sent="forward"),
              behave(INTERRUPT)),
        Fault("SIGTERM while sendmail has the notice", SIGTERM, TERMINATED(sent="notice"),
              behave(INTERRUPT, NO_FORWARD)),
        Fault("SIGTERM while the notice is written", SIGTERM, TERMINATED(sent="unread notice"),
              behave("term sleep 60000", NO_FORWARD, LONG_NOTICE)),
        Fault("SIGTERM while sendmail has the reply", SIGTERM, TERMINATED(sent="reply"),
              behave(INTERRUPT, NO_FORWARD, NO_NOTICE)),
    ]


class Faults(PanelCase):
    def setUp(self) -> None:
        super().setUp()
        self.database.execute(
            "insert into domains (id, cl_id, name) values (2, 1, 'example.net');"
            "insert into domainaliases (dom_id, name, mail) values (1, 'example.net', 'true');"
            "insert into mail_aliases (mn_id, alias) values (1, 'info')")

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
        shutil.rmtree(self.box.tmp)
        self.box.tmp.mkdir()  # another one than the sandbox has

    def long_password(self) -> None:
        old = (self.box.folder / SHADOW).read_text().strip()
        (self.box.folder / SHADOW).write_text("x" * 150 + "\n")
        change = "set password for 'admin'@'localhost' = password('{}')"
        self.database.execute(change.format("x" * 99))
        self.undo.append(lambda: self.database.execute(change.format(old)))

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

    def observe(self, arrange: Callable[["Faults"], object], later: bool = False) -> Outcome:
        self.prepare()
        if later:
            with (self.box.etc / "ovk.conf").open("a") as conf:
                conf.write(f"AUTORESPONDER_RETRY_LATER {TRIED_AGAIN}\n")
        try:
            arrange(self)
            count = self.database.rows(COUNT)
            self.box.wrapper = ["/usr/bin/python3", "-c", WATCH, json.dumps(self.told)]
            run = self.deliver(self.message, RECIPIENT)
        finally:
            for undo in self.undo:
                undo()
        self.assertEqual(self.proxy.pattern is not None, self.proxy.hits > 0)
        self.calls = run.calls
        if run.status == TRIED_AGAIN and KEPT not in run.err:
            self.assertEqual(self.database.rows(COUNT), count)
        status, zombies, left = json.loads((self.box.capture / "end").read_text())
        self.assertEqual(zombies, 0)
        self.assertLessEqual(set(run.out.splitlines()),
                             {*run.err.splitlines(), "sendmail on standard output"})
        kinds = {"a": "copy", "r": "reply file"}
        # The pending system error is whatever the client library met last.
        said = re.sub(r"\n+System error \d+: .*|, system error: \d+", "", run.err)
        return Outcome(re.sub(r"(/tmp/ovk-[a-z-]+-)\w{6}", r"\1XXXXXX", said),
                       ", ".join(map(self.name, run.calls)), status,
                       ", ".join(kinds[name[4]] for name in left))

    def test_faults(self) -> None:
        self.whole: dict[str, bytes] = {}
        self.assertEqual(self.observe(lambda _: None), Outcome())
        self.whole = {self.name(call): call.message for call in self.calls}
        rows = []
        for fault in statement_faults() + other_faults():
            if fault.release_only and os.environ["OVK_SANITIZE"] == "1":
                rows.append((fault, fault.expected, fault.expected_later()))
                continue
            with self.subTest(fault.name, at=fault.at):
                observed = self.observe(fault.arrange)
                self.assertEqual(str(observed), str(fault.expected))
                if fault.tries:
                    self.assertEqual(self.proxy.hits, fault.tries)
                later = self.observe(fault.arrange, later=True) if fault.matters_later() else observed
                self.assertEqual(str(later), str(fault.expected_later()))
                rows.append((fault, observed, later))
        self.compare_with_table(rows)

    def compare_with_table(self, rows: list[tuple[Fault, Outcome, Outcome]]) -> None:
        lines = ["| fault | promise | observed | where mail is tried again |", "|---|---|---|---|"]
        for (name, promise, observed, later, tried), group in itertools.groupby(
                rows, lambda row: (row[0].name, row[0].promise, *map(str, row[1:]), row[0].matters_later())):
            places = ", ".join(fault.at for fault, *_ in group)
            if later == observed:
                later = "the same" if tried else ""
            if later == observed.replace("status 0", f"status {TRIED_AGAIN}"):
                later = f"status {TRIED_AGAIN}"
            lines.append(f"| {f'{name} {places}'.strip()} | {promise} | {observed} | {later} |")
        path = REPOSITORY / "tests/run/faults.md"
        text = path.read_text()
        made = re.sub(r"(?s)(<!-- begin[^>]*-->\n).*(<!-- end -->)",
                      lambda found: found[1] + "\n".join(lines) + "\n" + found[2], text)
        if os.environ.get("OVK_REWRITE") == "1":
            path.write_text(made)
        else:
            self.assertEqual(text, made, "run the suite with OVK_REWRITE=1")
