"""cluster.py [--short]: crowds and faults on a Galera cluster of three nodes, and on a primary and its
replica behind HAProxy; see script/test-cluster. Status 77: not run, the cluster's library is missing.

Every reply that sendmail was handed is counted, whichever node its run wrote to: never more than the
limit, and never more than the rows say, on every node. With --short only the crowds of a sound cluster."""

import contextlib
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from collections import Counter
from collections.abc import Callable, Iterator

from support.case import BOX, PANEL, mail
from sandbox.database import Database, DatabaseError
from sandbox.box import Sandbox

PROVIDER = "/usr/lib/galera/libgalera_smm.so"
NODES = 3
LIMIT = 5
RETRY = 75  # for the mail server: try again
UNDER_FAULTS = 20  # so that a fault in the middle finds some answered, and some to answer
RULE = f"insert into mail_resp (id, mn_id, text, resp_on, ans_freq) values (7, 1, 'Thanks.', 'true', '{LIMIT}')"
MORE = f"update ovk.mail_resp set ans_freq='{UNDER_FAULTS}'"
# A node is given up after three seconds instead of five to fifteen.
TIMEOUTS = "evs.keepalive_period=PT0.5S;evs.suspect_timeout=PT3S;evs.inactive_timeout=PT6S;evs.install_timeout=PT6S"

# A node that comes back takes what it missed from another's memory; whole copies are never needed here.
# The servers call this on both sides and read what it prints.
TRANSFER = """#!/bin/sh
role= address= gtid= bypass=
while [ $# -gt 0 ]; do
    case $1 in
    --role) role=$2 && shift ;;
    --address) address=$2 && shift ;;
    --gtid) gtid=$2 && shift ;;
    --bypass) bypass=1 ;;
    esac
    shift
done
case $role in
joiner)
    echo "ready $address/told"
    while ! cat "$FOLDER/told" 2>/dev/null; do sleep 0.1; done
    rm "$FOLDER/told"
    ;;
donor)
    [ -n "$bypass" ] || exit 1
    echo "$gtid" >"$FOLDER/telling" && mv "$FOLDER/telling" "$FOLDER/told"
    echo "done $gtid"
    ;;
esac
"""


def say(text: str) -> None:
    print(f"cluster: {text}", flush=True)


def wait_until(holds: Callable[[], bool], what: str, seconds: float = 60) -> None:
    end = time.monotonic() + seconds
    while not holds():
        if time.monotonic() > end:
            sys.exit(f"cluster: FAILED: not within {seconds:.0f} s: {what}")
        time.sleep(0.1)


class Node:
    """A server, and the mail host on it: the program sees the node's socket, or the proxy's."""

    def __init__(self, database: Database, run_folder: pathlib.Path | None = None) -> None:
        self.database = database
        self.box = Sandbox(os.environ["OVK_PROGRAM"], os.environ["OVK_SENDMAIL"], database)
        self.box.run_folder = run_folder or database.run_folder

    def close(self) -> None:
        self.box.close()
        self.database.close()

    def status(self, name: str) -> str:
        try:
            return (self.database.rows(f"show status like '{name}'") or [["", ""]])[0][1] or ""
        except DatabaseError:
            return ""

    def is_in(self, size: int) -> bool:
        return (self.status("wsrep_local_state_comment"), self.status("wsrep_cluster_size")) == (
            "Synced", str(size))

    def choose(self, switch: str) -> None:
        with (self.box.etc / "ovk.conf").open("a") as configuration:
            configuration.write(f"AUTORESPONDER_{switch} true\n")

    def isolate(self, cut: bool) -> None:
        self.database.execute(f"set global wsrep_provider_options='gmcast.isolate={int(cut)}'")


class Cluster:
    """Three nodes that begin with the same data, so that none has to be copied from another."""

    def __init__(self) -> None:
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="ovk-cluster-"))
        script = self.folder / "wsrep_sst_memory"
        script.write_text(TRANSFER)
        script.chmod(0o755)
        os.environ["PATH"] = f"{self.folder}:{os.environ['PATH']}:/usr/sbin"
        os.environ["FOLDER"] = str(self.folder)
        self.nodes: list[Node] = []
        seed = Database()
        try:
            seed.stop()
            seed.start(*self.options(0), "--wsrep-new-cluster")
            seed.load("panel.sql", "resp_schedule.sql")
            seed.execute(PANEL + ";" + RULE)
            seed.stop()
            for number in range(NODES):
                self.nodes.append(Node(Database(*self.options(number), data=seed.folder / "data")))
        finally:
            seed.close()
        for number, node in enumerate(self.nodes):
            node.database.start(*["--wsrep-new-cluster"] * (number == 0))
        self.wait()

    @staticmethod
    def options(number: int) -> list[str]:
        others = ",".join(f"127.0.0.1:{5000 + 10 * n}" for n in range(NODES))
        return ["--binlog-format=ROW", "--innodb-autoinc-lock-mode=2", "--wsrep-on=ON",
                f"--wsrep-provider={PROVIDER}", f"--wsrep-cluster-address=gcomm://{others}",
                "--wsrep-sst-method=memory", f"--wsrep-node-name=node{number + 1}",
                "--wsrep-node-address=127.0.0.1", f"--wsrep-sst-receive-address=127.0.0.1:{5005 + 10 * number}",
                f"--wsrep-provider-options=base_host=127.0.0.1;base_port={5000 + 10 * number};"
                f"gmcast.listen_addr=tcp://127.0.0.1:{5000 + 10 * number};"
                f"ist.recv_addr=127.0.0.1:{5001 + 10 * number};gcache.size=32M;pc.recovery=no;{TIMEOUTS}"]

    def close(self) -> None:
        for node in self.nodes:
            node.close()
        shutil.rmtree(self.folder, ignore_errors=True)

    def wait(self, size: int = NODES) -> None:
        wait_until(lambda: sum(node.is_in(size) for node in self.nodes) == size, f"a cluster of {size}")

    def rejoin(self, node: Node) -> None:
        """Starts a node that was killed, from where its own log says that it was."""
        found = subprocess.run(
            ["mariadbd", "--no-defaults", "--user=root", f"--datadir={node.database.folder}/data",
             f"--tmpdir={node.database.tmp}", f"--socket={node.database.socket}", "--skip-networking",
             "--innodb-log-file-size=8M", *node.database.options, "--wsrep-recover"],
            stdin=subprocess.DEVNULL, capture_output=True, text=True).stderr
        recovered = re.search(r"Recovered position:\s*(\S+)", found)
        if recovered is None:
            sys.exit(f"cluster: FAILED: no position to begin from: {found}")
        node.database.start(f"--wsrep-start-position={recovered[1]}")
        self.wait()


def crowd(nodes: list[Node], mails: int, sender: str, meanwhile: Callable[[], None] | None = None) -> Counter:
    """Mails of one sender, to the nodes in turn, whose runs all get them at the same moment. How many
    replies the sender got, and what was said."""
    for node in nodes:
        node.box.forget_calls()
    runs = [nodes[number % len(nodes)].box.start(BOX, subprocess.PIPE) for number in range(mails)]
    for number, run in enumerate(runs):
        if meanwhile is not None and number == mails // 3:
            wait_until(lambda: any(list(node.box.capture.glob("*.mail")) for node in nodes), "a first reply")
            meanwhile()
        with run.stdin:
            run.stdin.write(mail(sender=sender).encode())
        run.stdin = None
    told: Counter = Counter()
    for run in runs:
        _, err = run.communicate(timeout=120)
        told.update(line[:60] for line in err.decode().splitlines())
        told["tried again"] += run.returncode == RETRY
        if run.returncode not in (0, RETRY):
            sys.exit(f"cluster: FAILED: status {run.returncode}: {err.decode()}")
    told["replies"] = sum(call.args[3] == sender for node in nodes for call in node.box.calls())
    return told


def counted(node: Node, sender: str) -> list[str]:
    return [row[0] or "" for row in node.database.rows(
        f"select num from ovk.resp_freq where rn_id=7 and email='{sender}'")]


def check(what: str, told: Counter, nodes: list[Node], sender: str, least: int, before: int = 0,
          limit: int = UNDER_FAULTS) -> int:
    """With the replies of `before`, `least` of them at least and none beyond the limit, and none that the
    nodes do not know of; they may know of one that a run had counted when its server went away."""
    wait_until(lambda: all(counted(node, sender) == counted(nodes[0], sender) for node in nodes),
               "the same rows on all nodes")
    replies, rows = before + told.pop("replies"), counted(nodes[0], sender)
    known = [int(row) for row in rows] or [0]
    say(f"{what}: {replies} replies, counted {', '.join(map(str, known))}"
        + "".join(f"; {count} times {text!r}" for text, count in told.items() if count))
    if not (len(known) == 1 and least <= replies <= known[0] <= limit):
        sys.exit(f"cluster: FAILED: {what}")
    return replies


def crowds(cluster: Cluster, rounds: int) -> None:
    for number in range(1, rounds + 1):
        sender = f"crowd{number}@client.example"
        check(f"crowd {number}, 60 mails on {NODES} nodes", crowd(cluster.nodes, 60, sender),
              cluster.nodes, sender, LIMIT, limit=LIMIT)


def days(cluster: Cluster) -> None:
    """Who had three answers yesterday gets what two days leave him."""
    sender = "days@client.example"
    cluster.nodes[0].database.execute(
        "insert into ovk.resp_schedule (rn_id, days) values (7, 2); insert into ovk.resp_freq"
        f" (rn_id, email, num, time_resp) values (7, '{sender}', 3, now() - interval 1 day)")
    wait_until(lambda: all(counted(node, sender) == ["3"] for node in cluster.nodes), "yesterday's row")
    for node in cluster.nodes:
        node.choose("SCHEDULE")
    check("once in two days, 60 mails", crowd(cluster.nodes, 60, sender), cluster.nodes, sender, UNDER_FAULTS, 3)


@contextlib.contextmanager
def without_one(cluster: Cluster, number: int, what: str,
                lose: Callable[[Node], None]) -> Iterator[tuple[Node, list[Node]]]:
    """A node is lost while a crowd is at work; once the block has it back, the sender gets the rest. The
    node, and the others."""
    lost = cluster.nodes[number % NODES]
    others = [node for node in cluster.nodes if node is not lost]
    sender = f"lost{number}-{what}@client.example".replace(" ", "-")
    told = crowd(cluster.nodes, 60, sender, meanwhile=lambda: lose(lost))
    cluster.wait(NODES - 1)
    before = check(f"node {number % NODES + 1} is {what} in the middle", told, others, sender, 0)
    yield lost, others
    cluster.wait()
    check("the node is back, the same sender", crowd(cluster.nodes, 60, sender), cluster.nodes, sender,
          before, before)


def killed(cluster: Cluster, number: int) -> None:
    late = f"late{number}@client.example"
    with without_one(cluster, number, "killed", lambda node: node.database.kill()) as (lost, others):
        check("the nodes that are left", crowd(others, 30, late), others, late, UNDER_FAULTS)
        cluster.rejoin(lost)
    check("and the one in between", crowd(cluster.nodes, 10, late), cluster.nodes, late, UNDER_FAULTS,
          UNDER_FAULTS)


def cut_off(cluster: Cluster, number: int) -> None:
    """The node hears nobody any more; later it does."""
    alone = f"alone{number}@client.example"
    with without_one(cluster, number, "cut off", lambda node: node.isolate(True)) as (lost, others):
        wait_until(lambda: lost.status("wsrep_ready") == "OFF", "the node that is cut off refuses")
        lost.choose("RETRY_LATER")
        told = crowd([lost], 10, alone)
        say(f"to that node alone, where the host lets the mail server try again: {dict(told)}")
        if told["replies"] or told["tried again"] != 10 or counted(others[0], alone):
            sys.exit("cluster: FAILED: a node that is cut off has answered, or has not said to try again")
        lost.isolate(False)


class Pair:
    """A primary and its replica, which confirms what it has got, behind HAProxy on the local socket."""

    def __init__(self) -> None:
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="ovk-pair-"))
        self.databases = [Database(*self.options(number)) for number in (1, 2)]
        primary, replica = self.databases
        for database in self.databases:
            database.execute("revoke all privileges, grant option from 'admin'@'localhost';"
                             "grant select, insert, update, delete on ovk.* to 'admin'@'localhost'")
        primary.execute("create user replica@'127.0.0.1' identified by 'r';"
                        "grant replication slave on *.* to replica@'127.0.0.1'; reset master")
        replica.execute("reset master; change master to master_host='127.0.0.1', master_port=6001,"
                        " master_user='replica', master_password='r', master_use_gtid=slave_pos;"
                        " start slave; set global read_only=1")
        primary.execute("set global rpl_semi_sync_master_enabled=1")
        wait_until(lambda: primary.rows("show status like 'Rpl_semi_sync_master_clients'")[0][1] == "1",
                   "a replica that confirms")
        primary.load("panel.sql")
        primary.execute(PANEL + ";" + RULE + ";" + MORE)
        configuration = self.folder / "haproxy.cfg"
        configuration.write_text(
            "defaults\n mode tcp\n timeout connect 2s\n timeout client 60s\n timeout server 60s\n"
            f"listen panel\n bind unix@{self.folder}/mysqld.sock mode 666\n"
            f" server primary unix@{primary.socket} check inter 500ms fall 2\n"
            f" server replica unix@{replica.socket} check inter 500ms fall 2 backup\n")
        self.proxy = subprocess.Popen(["haproxy", "-db", "-q", "-f", str(configuration)])
        self.node = Node(primary, self.folder)
        wait_until((self.folder / "mysqld.sock").exists, "the proxy's socket")

    @staticmethod
    def options(number: int) -> list[str]:
        return ["--skip-networking=OFF", "--bind-address=127.0.0.1", f"--port={6000 + number}",
                f"--server-id={number}", "--log-bin=log", "--log-slave-updates",
                "--rpl-semi-sync-master-wait-point=AFTER_SYNC", "--rpl-semi-sync-master-timeout=60000",
                "--rpl-semi-sync-slave-enabled=ON"]

    def close(self) -> None:
        self.proxy.terminate()
        self.proxy.wait()
        self.node.close()
        self.databases[1].close()
        shutil.rmtree(self.folder, ignore_errors=True)


def primary_and_replica() -> None:
    pair = Pair()
    try:
        nodes, replica = [pair.node], Node(pair.databases[1])
        sender, late = "pair@client.example", "pairlate@client.example"
        check("primary and replica: 60 mails", crowd(nodes, 60, sender), [*nodes, replica], sender, UNDER_FAULTS)
        told = crowd(nodes, 60, late, meanwhile=pair.databases[0].kill)
        before = check("the primary is killed in the middle", told, [replica], late, 0)
        time.sleep(2)  # the proxy has noticed
        told = crowd(nodes, 10, late)
        check("the replica takes over, read-only", told, [replica], late, before, before)
        replica.database.execute("stop slave; set global read_only=0")
        check("the replica may write", crowd(nodes, 60, late), [replica], late, before, before)
        check("and the sender of before", crowd(nodes, 10, sender), [replica], sender, UNDER_FAULTS,
              UNDER_FAULTS)
        replica.box.close()
    finally:
        pair.close()


def isolate() -> None:
    """Begins anew with a network and processes of its own, where no port is anybody else's."""
    os.environ["OVK_ISOLATED"] = "1"
    user = [] if os.geteuid() == 0 else ["--unshare-user", "--uid", "0", "--gid", "0"]
    os.execvp("bwrap", ["bwrap", "--die-with-parent", "--unshare-net", "--unshare-pid", *user, "--cap-add", "ALL",
                        "--dev-bind", "/", "/", "--proc", "/proc", "--", sys.executable, "-B", *sys.argv])


def main(short: bool) -> None:
    if not os.path.exists(PROVIDER):
        print("cluster: not run: the package galera-4 is missing; script/bootstrap cluster installs it")
        sys.exit(77)
    if "OVK_ISOLATED" not in os.environ:
        isolate()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    begin = time.monotonic()
    cluster = Cluster()
    say(f"{NODES} nodes up after {time.monotonic() - begin:.0f} s")
    try:
        crowds(cluster, 5 if short else 20)
        cluster.nodes[0].database.execute(MORE)
        for number in range(0 if short else NODES):
            killed(cluster, number)
            cut_off(cluster, number)
        days(cluster)
    finally:
        cluster.close()
    if not short:
        primary_and_replica()
    say(f"all as it should be, in {time.monotonic() - begin:.0f} s")


if __name__ == "__main__":
    main("--short" in sys.argv[1:])
