"""What script/mutants does, which says what that is."""

import pathlib
import re
import subprocess
import sys

TOP = pathlib.Path(__file__).resolve().parents[1]
COPY = TOP / "build/mutants"
BUILD = COPY / "build"
WHOLE = (["autoresponder", "capture_sendmail", "panel_probe"], "^run[.]")
RESPONDER = (["responder_test", "fuzz_intake"], "^(responder_test|fuzz[.]intake)")
CODECS = (["codecs_test", "fuzz_encoded_words", "fuzz_recode"], "^(codecs_test|fuzz[.](enc|rec))")
MIME = (["mimelib_test", "fuzz_address"], "^(mimelib_test|fuzz[.]address)")
LIBRARY = (["panel_test"], "^panel_test")
STAGES = {"base": [MIME, CODECS, LIBRARY, RESPONDER, WHOLE], "mimelib": [MIME, RESPONDER, WHOLE],
          "codecs": [CODECS, RESPONDER, WHOLE], "lib": [LIBRARY, WHOLE],
          "autoresponder": [RESPONDER, WHOLE]}


# The suites that most likely see a fault of a file; they go before the others.
FIRST = {"attachments": "reply", "autoprepend": "parameters", "dbconnect": "parameters", "delivery": "refusals",
         "forward": "forward", "get_param": "parameters", "guards": "refusals", "intake": "forward",
         "limiter": "limiter", "mailbox": "rules", "notice": "notice", "number": "limiter",
         "panel_query": "limiter", "process": "refusals", "refusal": "policy", "reply": "reply",
         "responder": "rules", "retry_later": "policy", "rules": "rules", "run_log": "log", "set_uid_start": "refusals",
         "size_limit": "reply", "spawn": "reply", "standard_mail": "reply", "switches": "policy",
         "temporary_file": "reply", "thread": "policy"}


def read_table() -> list[list[str]]:
    lines = (TOP / "script/mutants.table").read_text().splitlines()
    rows = [line.replace("↵", "\n").split(" => ") for line in lines if line and line[0] != "#"]
    assert all(len(row) == 5 for row in rows), [row for row in rows if len(row) != 5]
    assert len({row[0] for row in rows}) == len(rows), "a name twice"
    return rows


def run(*command: object) -> tuple[int, str]:
    done = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, cwd=COPY,
                          stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL)
    return done.returncode, done.stdout.decode(errors="replace")


def copy_sources() -> None:
    """The sources as they are now; files that have not changed keep their time."""
    COPY.mkdir(parents=True, exist_ok=True)
    wanted = [str(path.relative_to(TOP)) for top in TOP.iterdir() if top.name not in (".git", "build")
              for path in (top, *top.rglob("*")) if path.is_file() and "__pycache__" not in path.parts]
    for name in wanted:
        write(name, (TOP / name).read_bytes())
        (COPY / name).chmod((TOP / name).stat().st_mode)
    options = ["-DCMAKE_BUILD_TYPE=Release", "-DOVK_WERROR=OFF", "-DCMAKE_CXX_FLAGS_RELEASE=-O1"]
    status, said = run("cmake", "-S", COPY, "-B", BUILD, "-G", "Ninja", *options)
    assert status == 0, said


def write(name: str, content: bytes) -> None:
    path = COPY / name
    if path.exists() and path.read_bytes() == content:
        return
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(content)


def verdict(file: str, fast: bool) -> str:
    stages = list(STAGES[file.split("/")[0]])
    if first := FIRST.get(pathlib.Path(file).stem):
        stages.insert(-1, (WHOLE[0], f"^run[.]{first}$"))
    for targets, tests in (stage for stage in stages if not (fast and stage[1].startswith("^run"))):
        if file.startswith("lib/utilities/") and tests.startswith("^run"):
            targets, tests = ["panel_probe", "autoresponder", "capture_sendmail"], "^run[.]parameters"
        status, said = run("cmake", "--build", BUILD, "--target", *targets)
        if status != 0:
            return "does not build:\n" + said[-2000:]
        status, said = run("ctest", "--test-dir", BUILD, "-R", tests, "-j2", "--stop-on-failure",
                           "--timeout", "120", "--no-tests=error")
        if status != 0:
            failed = re.findall(r"^\s+\d+ - (\S+) \(", said, re.M)
            return "caught by " + ", ".join(failed) if failed else said[-2000:]
    return "survived"


def main(names: list[str]) -> int:
    fast = names[:1] == ["--fast"]
    names = names[fast:]
    rows = [row for row in read_table() if not names or row[0] in names or names == ["--stale"]]
    stale = [row for row in rows if not (TOP / row[1]).exists()
             or (TOP / row[1]).read_text().count(row[2]) != 1]
    for name, file, text, *_ in stale:
        print(f"stale: {name}: {file} does not hold this once: {text}")
    if names == ["--stale"]:
        return bool(stale)
    copy_sources()
    bad = len(stale)
    for row in (row for row in rows if row not in stale):
        name, file, text, replacement, breaks = row
        original = (COPY / file).read_bytes()
        write(file, original.replace(text.encode(), replacement.encode()))
        try:
            result = verdict(file, fast)
        finally:
            write(file, original)
        harmless = breaks.startswith("nothing: ")
        bad += not (result == "survived" if harmless else result.startswith("caught"))
        print(f"{name}: {result} ({breaks})", flush=True)
    print(f"{len(rows)} faults, {bad} that want looking after")
    return bool(bad)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
