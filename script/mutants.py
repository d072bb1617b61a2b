"""What script/mutants does, which says what that is."""

import argparse
import pathlib
import random
import re
import subprocess
import sys
from collections.abc import Iterator

TOP = pathlib.Path(__file__).resolve().parents[1]
COPY = TOP / "build/mutants"
BUILD = COPY / "build"
FAST = r"^[a-z]+_test[.]|^fuzz[.]"  # CTest knows no \w
WHOLE = r"^run[.]|^docs[.]documents"
OTHER = {" == ": " != ", " != ": " == ", " < ": " >= ", " >= ": " < ", " > ": " <= ", " <= ": " > ",
         " && ": " || ", " || ": " && ", "true": "false", "false": "true"}
MOVED = {" < ": " <= ", " <= ": " < ", " > ": " >= ", " >= ": " > ", " + 1": "", " - 1": ""}
WORD = re.compile(r" (?:[=!<>]=|[<>]|&&|\|\|) |\b(?:true|false)\b| [+-] 1\b|\b\d+\b|!(?=[\w(])"
                  r"|'(?:[^'\\]|\\.)+'|\"(?:[^\"\\]|\\.)*\"")
CALL = re.compile(r"^ +(?!return |delete |else |throw )[\w:.>\[\]*-]+\([^;{}]*\);$", re.M)
# What is no code of a function: comments, what is included, declarations of templates and checks of types.
PASSED_OVER = re.compile(r"//.*|^\s*#.*|^\s*(?:template|static_assert|using)\b.*", re.M)


def run(*command: object) -> tuple[int, str]:
    done = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, cwd=COPY,
                          stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL)
    return done.returncode, done.stdout.decode(errors="replace")


def copy_sources() -> None:
    """The sources as they are now; files that have not changed keep their time."""
    wanted = {path.relative_to(TOP) for top in TOP.iterdir() if top.name not in (".git", "build")
              for path in (top, *top.rglob("*")) if path.is_file() and "__pycache__" not in path.parts}
    for name in wanted:
        copy, content = COPY / name, (TOP / name).read_bytes()
        if not copy.exists() or copy.read_bytes() != content:
            copy.parent.mkdir(parents=True, exist_ok=True)
            copy.write_bytes(content)
            copy.chmod((TOP / name).stat().st_mode)
    for path in COPY.rglob("*"):
        if path.is_file() and path.relative_to(COPY) not in wanted and BUILD not in path.parents:
            path.unlink()
    status, said = run("cmake", "-S", COPY, "-B", BUILD, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
                       "-DOVK_WERROR=OFF", "-DCMAKE_CXX_FLAGS_RELEASE=-O1")
    assert status == 0, said


def places(where: str) -> Iterator[tuple[str, range]]:
    """The files and lines that it names."""
    named = re.fullmatch(r"([^:]+)(?::(\d+)(?:-(\d+))?)?", where)
    if named and (TOP / named[1]).is_file():
        first = int(named[2] or 1)
        yield named[1], range(first, int(named[3] or named[2] or sys.maxsize) + 1)
        return
    diff = subprocess.run(["git", "diff", "--unified=0", "--no-prefix", where, "--", "*.cpp", "*.h"], cwd=TOP,
                          check=True, capture_output=True, text=True).stdout
    for header, file, first, count in re.findall(r"^(\+\+\+ (.*)|@@ .*?\+(\d+)(?:,(\d+))? @@.*)$", diff, re.M):
        if file:
            name = file
        elif not re.match("tests/|fuzz/|bench/|/dev/null", name):
            yield name, range(int(first), int(first) + int(count or 1))


def replacements(word: str) -> list[str]:
    if word[0] == "!":
        return [""]
    if word[0] in "'\"":  # of another first letter
        letter = r"\\?." if len(word) > 2 else ""
        return [re.sub(f"^(.){letter}", lambda m: m[1] + ("x" if m[0][1:] != "x" else "y"), word)]
    if word.isdigit():
        return [str(int(word) + 1)]
    return [table[word] for table in (OTHER, MOVED) if word in table]


def faults(name: str, lines: range) -> Iterator[tuple[str, int, int, str]]:
    """File, begin and end of what is replaced, and what by."""
    text = (COPY / name).read_text()
    code = PASSED_OVER.sub(lambda m: " " * len(m[0]), text)
    for found in WORD.finditer(code):
        for other in replacements(found[0]):
            if text.count("\n", 0, found.start()) + 1 in lines:
                yield name, found.start(), found.end(), other
    for found in CALL.finditer(code):
        if text.count("\n", 0, found.start()) + 1 in lines:
            yield name, found.start(), found.end(), " ;"


def failing(whole: bool, *options: str) -> list[str] | None:
    """The tests that fail; None where it does not build."""
    targets = re.findall(r"^(\w+_test|fuzz_\w+): phony", run("cmake", "--build", BUILD, "--target", "help")[1], re.M)
    failed = []
    for wanted, tests in [(targets, FAST), (["all"], WHOLE)][:1 + whole]:
        if run("cmake", "--build", BUILD, "--target", *wanted)[0] != 0:
            return None
        status, said = run("ctest", "--test-dir", BUILD, "-R", tests, "-j2", "--timeout", "120", "--no-tests=error",
                           *options)
        if status != 0:
            failed += re.findall(r"^\s+\d+ - (\S+) \(", said, re.M) or [said[-2000:]]
            if options:
                break
    return failed


def main() -> int:
    parser = argparse.ArgumentParser()
    parser.add_argument("--whole", action="store_true")
    parser.add_argument("--only", type=int)
    parser.add_argument("where", nargs="+")
    chosen = parser.parse_args()
    copy_sources()
    todo = sorted({fault for where in chosen.where for place in places(where) for fault in faults(*place)})
    if chosen.only is not None and chosen.only < len(todo):
        todo = sorted(random.Random(1).sample(todo, chosen.only))
    unsound = failing(chosen.whole)
    if unsound is None:
        sys.exit("mutants: does not build without a fault")
    if unsound:
        print("left out, since they fail without a fault: " + ", ".join(unsound), flush=True)
    options = ["--stop-on-failure", *(["-E", f"^({'|'.join(map(re.escape, unsound))})$"] if unsound else [])]
    came = []
    for name, begin, end, other in todo:
        text = (COPY / name).read_text()
        (COPY / name).write_text(text[:begin] + other + text[end:])
        failed = failing(chosen.whole, *options)
        came.append("does not build" if failed is None else "caught by " + ", ".join(failed) if failed else "SURVIVED")
        (COPY / name).write_text(text)
        line = text.count("\n", 0, begin) + 1
        print(f"{name}:{line}: {text[begin:end].strip()!r} -> {other.strip()!r}: {came[-1]}", flush=True)
    survived, lame = came.count("SURVIVED"), came.count("does not build")
    print(f"{len(came) - lame} faults, {survived} that no test sees; {lame} more do not build")
    return bool(survived)


if __name__ == "__main__":
    sys.exit(main())
