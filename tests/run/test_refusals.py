"""What is not answered, and what the program says then."""

import os
import resource
import subprocess
import unittest

from support.case import BOX, SENDER, PanelCase, mail

ABNORMAL = "Abnormal exit.\n"
NO_SENDER = "Could not get sender's e-mail address from Reply-To: or From: headers.\n"
OPTION = "autoresponder: Address looks like an option: {}\n"


class Refusals(PanelCase):
    def setUp(self) -> None:
        super().setUp()
        self.rule()

    def test_what_is_refused_before_anything_is_looked_up(self) -> None:
        own, daemon, long = (f"Field From: {what}\n" for what in (
            "equial field To:", "contains MAILER-DAEMON", "address is too long"))
        domain = ".".join(["d" * 60] * 4)  # 243 octets
        for message, said in (
            ("From: <>\n\n", NO_SENDER + ABNORMAL), (mail(headers=f"Reply-To: <{BOX}>\n"), own),
            *((mail(sender=sender), said) for sender, said in (
                (BOX, own), (BOX + ".", own), (BOX.upper(), ""),
                ("MAILER-DAEMON@host.test", daemon), ("x-mailer-daemon@host.test", daemon),
                ("joe@DrWEB-DAEMON.test", daemon), ("Mailer-Daemon@host.test", ""),
                ("a" * 239 + "@client.example", ""), ("a" * 240 + "@client.example", long),
                ("b" * 10 + "@" + domain, ""), ("b" * 10 + "@" + domain + ".", ""), ("c" * 11 + "@" + domain, long))),
        ):
            with self.subTest(message):
                self.database.listen()
                run = self.deliver(message)
                if said:
                    self.assert_silent(run, said)
                    self.assertEqual(self.database.heard(), [])
                else:
                    self.assert_answered(run)

    def test_no_recipient(self) -> None:
        self.assert_silent(self.deliver(recipient=None),
                           "Could not get recipient e-mail address from RESP_RECIPIENT environment"
                           " variable\n" + ABNORMAL)

    def test_addresses_that_look_like_options(self) -> None:
        evil = "-C/var/qmail/mailnames/example.com/sales/@attachments"
        self.rule(id=2, forward=[evil, "a@example.org", "-"], attach=["gone"])
        self.rule(id=3, forward=[evil])
        for change, said, notices in (
            ("do 0", 0, 1), (f"update clients set email = '{evil}'", 1, 0),
            ("update clients set email = 'anna@alpha.test';"  # behind -f it is an argument
             f" insert into misc values ('admin_email', '{evil}')", 0, 1),
        ):
            self.database.execute(change)
            run = self.deliver()
            self.assertEqual((run.status, run.err),
                             (0, OPTION.format(evil) + OPTION.format("-")
                              + OPTION.format(evil) * (said + 1)))
            self.assertEqual([call.args[3:] for call in run.calls],
                             [[SENDER], ["a@example.org"], *[["anna@alpha.test"]] * notices,
                              [SENDER], [SENDER]])

    def test_diagnostics_that_nobody_reads(self) -> None:
        read_end, write_end = os.pipe()
        os.close(read_end)
        run = subprocess.run(self.box.command(BOX), input=b"", stderr=write_end)
        os.close(write_end)
        self.assertEqual((run.returncode, list(self.box.tmp.iterdir())), (0, []))


# Starts the program as a set-gid bit would (the sandbox honours none), with all that a caller can
# leave to it.
HOSTILE = """
import os, resource, signal, sys
os.setgroups([1, 2])
os.umask(0)
os.chdir("/tmp")
os.nice(7)
os.sched_setscheduler(0, os.SCHED_BATCH, os.sched_param(0))
os.environ.update(MAIL_CONFIG="/tmp", LD_DEBUG_OUTPUT="/tmp/debug", PATH="/tmp")
for number in (signal.SIGTERM, signal.SIGCHLD, signal.SIGUSR2):
    signal.signal(number, signal.SIG_IGN)
signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGHUP, signal.SIGPIPE})
for limit, soft in ((resource.RLIMIT_FSIZE, 10), (resource.RLIMIT_CPU, 9),
                    (resource.RLIMIT_NOFILE, 6)):
    resource.setrlimit(limit, (soft, resource.getrlimit(limit)[1]))
hard = resource.getrlimit(resource.RLIMIT_CORE)[1]
resource.setrlimit(resource.RLIMIT_CORE, (hard, hard))
signal.setitimer(signal.ITIMER_REAL, 0.4)
os.setresgid(1, 0, 0)
os.execve(sys.argv[1], sys.argv[1:], os.environ)
"""

SENDMAIL_SEES = """exec > /capture/seen
grep -E '^(Umask|Gid|SigIgn)' /proc/$$/status
grep -E '^(Groups|SigBlk)' /proc/$PPID/status
tr '\\0' '\\n' < /proc/$$/environ
readlink /proc/$$/cwd
cut -d ' ' -f 19,41 /proc/$$/stat
ionice -p $$
echo $(ulimit -Sf) $(ulimit -St) $(ulimit -Sn) $(ulimit -Sc)
sleep 0.5
"""

SEEN = """Umask:	0077
Gid:	0	0	0	0
SigIgn:	0000000000000000
Groups:	 
SigBlk:	0000000000000000
PATH=/usr/sbin:/usr/bin:/sbin:/bin
RESP_RECIPIENT=sales@example.com
/
0 0
none: prio 0
"""


class SetUidStart(PanelCase):
    @unittest.skipIf(os.geteuid() != 0, "a sandbox without root has one group")
    def test_caller_leaves_nothing_behind(self) -> None:
        self.rule()
        self.box.script(SENDMAIL_SEES)
        self.box.wrapper = ["/usr/bin/ionice", "-c", "3", "/usr/bin/python3", "-c", HOSTILE]
        run = self.deliver()
        self.assertEqual((run.status, run.err, run.leftovers), (0, "", []))
        shown = lambda value, unit=1: (
            "unlimited" if value == resource.RLIM_INFINITY else str(value // unit))
        hard = [resource.getrlimit(limit)[1] for limit in (
            resource.RLIMIT_FSIZE, resource.RLIMIT_CPU, resource.RLIMIT_NOFILE)]
        limits = f"{shown(hard[0], 512)} {shown(hard[1])} {min(hard[2], 1024)} 0\n"
        self.assertEqual((self.box.capture / "seen").read_text(), SEEN + limits)
