"""Delivers many mails at once. One sandbox with a driver inside serves them all, so that the start
of a sandbox is no part of any of them."""

import dataclasses
import json
import subprocess

from support.sandbox import Sandbox

INSIDE = """
import json, os, time
told = json.load(open("/crowd/told"))
null, err = os.open("/dev/null", os.O_WRONLY), os.open("/crowd/err", os.O_WRONLY | os.O_CREAT)
waiting = list(enumerate(told["recipients"]))[::-1]
running, ended = {}, []
begin = time.perf_counter()
while waiting or running:
    if waiting and len(running) < told["at once"]:
        number, recipient = waiting.pop()
        mail = os.open(f"/crowd/{number}", os.O_RDONLY)
        start = time.perf_counter()
        pid = os.posix_spawn("/program/autoresponder", ["autoresponder"],
                             os.environ | {"RESP_RECIPIENT": recipient},
                             file_actions=[(os.POSIX_SPAWN_DUP2, mail, 0),
                                           (os.POSIX_SPAWN_DUP2, null, 1),
                                           (os.POSIX_SPAWN_DUP2, err, 2)])
        os.close(mail)
        running[pid] = start
        continue
    pid, status = os.wait()
    ended.append([os.waitstatus_to_exitcode(status), time.perf_counter() - running.pop(pid)])
print(json.dumps([ended, time.perf_counter() - begin]))
"""


@dataclasses.dataclass
class Crowd:
    statuses: set[int]
    seconds: list[float]  # of each mail, in the order in which they ended
    duration: float  # from the first start to the last end
    err: str


def deliver(box: Sandbox, mails: list[tuple[str, str]], at_once: int) -> Crowd:
    """Delivers every (recipient, message), at most `at_once` of them at any time."""
    folder = box.folder / "crowd"
    folder.mkdir(exist_ok=True)
    for number, (_, message) in enumerate(mails):
        (folder / str(number)).write_text(message)
    (folder / "err").unlink(missing_ok=True)
    (folder / "told").write_text(json.dumps(
        {"at once": at_once, "recipients": [recipient for recipient, _ in mails]}))
    box.extra += ["--bind", str(folder), "/crowd"]
    done = subprocess.run(box.command(None)[:-1] + ["/usr/bin/python3", "-c", INSIDE],
                          capture_output=True, text=True, check=True)
    ended, duration = json.loads(done.stdout)
    return Crowd({status for status, _ in ended}, [seconds for _, seconds in ended], duration,
                 (folder / "err").read_text(errors="replace"))
