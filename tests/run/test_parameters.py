"""The panel library with its real paths: configuration, database connection, parameter store."""

import re

from support.case import PanelCase
from sandbox.database import PASSWORD
from support.proxy import Proxy

ENOENT = "System error 2: No such file or directory\n"
NO_SERVER = ("probe: Unable to connect to Orvek Database: Can't connect to local server through"
             f" socket '/run/mysqld/mysqld.sock' (2)\n{ENOENT}")
NO_FILE = "Unable to open admin password file: No such file or directory"
CONNECTED = "connected " + "~" * 200  # and the message buffer is as it was


class PanelLibrary(PanelCase):
    def probe(self, *calls: tuple[str, ...], messages: str = "") -> list[str]:
        """The results of the calls; both streams got `messages`."""
        run = self.run_probe(*calls)
        results = [line[1:-1] for line in run.out.splitlines() if line.startswith("[")]
        said = "".join(line for line in run.out.splitlines(keepends=True) if line[0] != "[")
        # The client library may or may not have waited for the server's refusal of a statement.
        err, said = (re.sub(r"\n?\nSystem error 11: .*", "", text) for text in (run.err, said))
        self.assertEqual((run.status, err, said), (0, messages, messages))
        return results

    def admin(self, change: str) -> None:
        self.database.execute(f"alter user 'admin'@'localhost' {change}")

    def test_configuration(self) -> None:
        conf = self.box.etc / "ovk.conf"
        unknown = "_MAX_POSSIBLE_OVK_CONF_VAR_NAME"
        ask = [("autoprepend",), ("ovkConfGet", "ORVEK_MAILNAMES_D"), ("ovkConfGet", "OWN"),
               ("ovkConfGetDefault", "DUMP_D"), ("by index", "1"), ("by index", "28"),
               ("by index", "31"), ("ovkConfGetDefault", unknown)]
        said = (f"probe: variable '{unknown}' isn't found neither in /etc/ovk/ovk.conf nor in"
                " compile-time defaults\n")
        rest = ["null /usr/local/ovk", "null _MAX_POSSIBLE_OVK_CONF_VAR_VALUE", "null"]
        conf.write_text("ORVEK_MAILNAMES_D /home/mail\nOWN value\nDUMP_D /d # x\n")
        self.assertEqual(self.probe(*ask, messages=said),
                         ["0", "text /home/mail", "text value", "text /d",
                          "text /home/mail /home/mail", *rest])
        conf.unlink()
        self.assertEqual(self.probe(*ask, messages=said),
                         ["-1", "null", "null", "text /var/lib/ovk/dumps",
                          "null /var/qmail/mailnames", *rest])

    def test_password_file(self) -> None:
        self.addCleanup(self.admin, "identified by 'correct horse'")
        denied = ("Unable to connect to Orvek Database: Access denied for user"
                  " 'admin'@'localhost'")  # and more that the buffer is too small for
        shadow = self.box.etc / ".ovk.shadow"
        for text, password in (("pw", "pw"), ("pw \n", "pw "), ("\n", ""), ("pw\nx\n", "pw"),
                               ("x" * 150 + "\n", "x" * 99)):
            shadow.write_text(text)
            self.admin(f"identified by '{password}'")
            self.assertEqual(self.probe(("connect", "100")), [CONNECTED], text)
            self.admin("identified by 'other'")
            self.assertEqual(self.probe(("connect", str(len(denied) + 1))), ["refused " + denied])
        shadow.write_text("")
        self.assertEqual(self.probe(("connect", "100")),
                         ["refused Unable to read admin password file: Success"])
        shadow.unlink()
        self.assertEqual(self.probe(("connect", "100"), ("connect", "16"), ("open",),
                                    messages=f"probe: {NO_FILE}\n{ENOENT}"),
                         [f"refused {NO_FILE}", "refused Unable to open ", ""])

    def test_what_a_server_may_ask_for(self) -> None:
        proxy = Proxy(self.database.socket)
        self.addCleanup(proxy.close)
        self.box.run_folder = proxy.folder
        proxy.pattern = "^greeting$"
        for plugin in ("mysql_clear_password", "mysql_old_password", "sha256_password", "dialog"):
            with self.subTest(plugin):
                proxy.harm = "ask " + plugin
                refused = self.probe(("connect", "200"))[0]
                self.assertIn("couldn't be found in restricted_auth plugin list", refused)
                self.assertEqual(proxy.told, b"")
        found: list[bool] = []

        def look(pid: int) -> None:
            """Whether the process still holds the password, and something else that it read, which shows
            that this looks in the right place."""
            held = b""
            with open(f"/proc/{pid}/maps") as maps, open(f"/proc/{pid}/mem", "rb", 0) as memory:
                for begin, end in re.findall(r"^(\w+)-(\w+) rw", maps.read(), re.M):
                    if (size := int(end, 16) - int(begin, 16)) < 1 << 28:  # sanitizers have larger ones
                        memory.seek(int(begin, 16))
                        held += memory.read(size) or b""
            found.extend((PASSWORD.encode() in held, b"mysqld.sock" in held))

        proxy.pattern, proxy.harm = "^select", look
        self.probe(("open",), ("get", "plain"))
        self.deliver()
        self.assertEqual(found[:4], [False, True] * 2)

    def test_character_set(self) -> None:
        both = [("connect_ex", "100"), ("connect", "100")]
        self.database.listen()
        self.assertEqual(self.probe(*both), [CONNECTED] * 2)
        self.assertEqual(self.database.heard(), ["SET NAMES utf8"] * 2)
        self.addCleanup(self.admin, "with max_queries_per_hour 0")
        self.admin("with max_queries_per_hour 1")
        self.probe(("connect", "100"))
        refusal = ("DB error (set names query) 1226: User 'admin' has exceeded the"
                   " 'max_queries_per_hour' resource (current value: 1)")[:99]
        self.assertEqual(self.probe(*both), ["connected " + refusal, "refused " + refusal])

    def test_reading(self) -> None:
        self.database.execute("insert into misc values ('plain', 'ä'), ('none', null),"
                              " ('long', repeat('0123456789', 500))")
        statement = "select val, param from misc order by param desc limit 2"
        reads = (("get", "plain"), ("get", "none"), ("get", "absent"), ("get", "long"),
                 ("query", statement), ("column 1", statement), ("query", "do 0"),
                 ("simple", "example.com", "domains", "name", "id"))
        wanted = ["text " + text for text in
                  ("ä", "", "", ("0123456789" * 410)[:4095], "ä", "plain", "", "1")]
        self.database.listen()
        self.assertEqual(self.probe(*reads), wanted)
        statements = self.database.heard()
        self.assertEqual(statements[:2], ["SET NAMES utf8",
                                          "select val from misc where param='plain'"])
        self.assertEqual(statements[-1], "select id from domains where name='example.com'")
        self.database.listen()
        self.assertEqual(self.probe(("open",), *reads, ("same buffer", "plain", "absent")),
                         ["open", *wanted, "1"])
        self.assertEqual(self.database.heard().count("SET NAMES utf8"), 1)

    def test_writing(self) -> None:
        odd, long = "O'Neill \\ \"q\" ä; --", "x'" * 2500
        self.database.execute("insert into dom_param values (1, 'a', 'x'), (1, 'b', 'x');"
                              "insert into Parameters values (1, 'a', 'x'), (2, 'a', 'x'),"
                              " (1, 'a', 'O\\'Neill')")
        writes = (("put", "odd", odd), ("put", "long", "first"), ("put", "long", long),
                  ("put", "name", "NULL"), ("put", "gone", "x"), ("delete", "gone"),
                  ("delete", "absent"), ("delete dom", "1", "a"),
                  ("delete obj", "1", "a", "O'Neill"), ("delete obj", "2", "a", "NULL"))
        self.database.listen()
        self.assertEqual(self.probe(*writes), ["0"] * len(writes))
        heard = [statement for statement in self.database.heard() if "SET" not in statement]
        self.assertEqual(heard[3:], [
            "replace into misc (param) values('name')",
            "replace into misc (param, val) values('gone', 'x')",
            "delete from misc where param='gone'", "delete from misc where param='absent'",
            "delete from dom_param where dom_id='1' and param='a'",
            "delete from Parameters where id='1' and parameter='a' and value='O\\'Neill'",
            "delete from Parameters where id='2' and parameter='a'"])
        rows = [self.database.rows(f"select * from {table} order by 1")
                for table in ("misc", "dom_param", "Parameters")]
        self.assertEqual(rows, [[["long", long], ["name", None], ["odd", odd]], [["1", "b", "x"]],
                                [["1", "a", "x"]]])
        self.assertEqual(self.probe(("open",), ("put", "odd", "2"), ("close",), ("get", "odd")),
                         ["open", "0", "", "text 2"])

    def test_failures(self) -> None:
        calls = (("get", "p"), ("put", "p", "v"), ("delete", "p"), ("delete dom", "1", "p"),
                 ("delete obj", "1", "p", "v"))
        self.database.execute("drop table misc, dom_param, Parameters")
        messages = "".join(
            f"probe: Unable to {what}: Table 'ovk.{what.split()[-1]}' doesn't exist\n" for what in
            ("put parameter p into misc", "delete parameter p from misc",
             "delete parameter p from dom_param", "delete parameter p from Parameters"))
        self.assertEqual(
            self.probe(("open",), *calls, messages=(
                "probe: Unable to query parameter by query select val from misc where param='p':"
                " Table 'ovk.misc' doesn't exist\n" + messages)),
            ["open", "null"] + ["-1"] * 4)
        self.box.run_folder = self.box.empty
        plain = "probe: Unable to connect to mysql database\n"
        the = plain.replace("to mysql", "to the mysql") + "\n" + ENOENT
        self.assertEqual(
            self.probe(*calls, messages=(NO_SERVER + the + NO_SERVER + plain + ENOENT
                                         + 3 * (NO_SERVER + plain + "\n" + ENOENT))),
            ["null"] + ["-1"] * 4)
