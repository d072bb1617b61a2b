"""check_manual.py MANUAL PROGRAM SOURCE-FOLDER...: the manual's DIAGNOSTICS against the messages of
the sources. Every message that the linked program holds must have an entry, and every entry must be
such a message. What is inserted at run time stands as "..." on both sides."""

import pathlib
import re
import sys

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]

# What writes a message, and what it puts in front of its text.
PROGRAM_NAME = "autoresponder: "
CALLS = {"report": "", "report_system_error": "", "refuse": "", "complain": "", "write_pieces": "",
         "fprintf": "", "messlog2": PROGRAM_NAME, "ex_messlog": PROGRAM_NAME,
         "end_with_failure": PROGRAM_NAME,
         "snprintf": PROGRAM_NAME}  # those that fill msgbuf, for messlog2
CALL = re.compile(r"\b(" + "|".join(CALLS) + r")\(")
TOKEN = re.compile(r'"(?:[^"\\]|\\.)*"|\'(?:[^\'\\]|\\.)*\'|[^"\']')
CONVERSION = re.compile(r"%[-0-9.]*[lz]*[a-zA-Z]|%(?=\")")


def without_comments(text: str) -> str:
    return re.sub(r'("(?:[^"\\\n]|\\.)*")|//[^\n]*|/\*.*?\*/', lambda m: m[1] or " ", text, flags=re.S)


def arguments(text: str, start: int) -> list[str]:
    """The source text from behind "(" to its ")", cut at the outermost commas and braces."""
    depth, pieces = 0, [""]
    for token in TOKEN.findall(text[start:]):
        depth += (token in "([") - (token in ")]")
        if depth < 0:
            break
        if token in ",{}" and depth == 0:
            pieces.append("")
        else:
            pieces[-1] += token
    return [piece.strip() for piece in pieces if piece.strip()]


def literal(piece: str) -> str | None:
    parts = re.findall(r'"((?:[^"\\]|\\.)*)"', piece)
    if not parts or re.sub(r'"(?:[^"\\]|\\.)*"|\s', "", piece):
        return None
    return "".join(parts).replace("\\n", "\n").replace('\\"', '"')


def messages(name: str, pieces: list[str]) -> tuple[str, list[str]]:
    """The message as an entry of the manual has it, and its literals."""
    texts = [literal(piece) for piece in pieces]
    found = [text for text in texts if text is not None]
    if name.startswith("report") or name in ("refuse", "complain", "write_pieces"):
        texts = texts[name == "write_pieces":]  # whose first argument is a descriptor
        shown = "".join("..." if text is None else text for text in texts)
        shown += "..." if name == "report_system_error" else ""
    else:  # a format string
        found = found[:1]
        shown = CONVERSION.sub("...", found[0]) if found else ""
    shown = re.sub(r"(\.\.\.)+", "...", shown).split("\n")[0].strip()
    return (CALLS[name] + shown if re.search("[a-z]", shown) else ""), found


def from_sources(folders: list[str], program: bytes) -> set[str]:
    known = set()
    for path in sorted(p for folder in folders for p in REPOSITORY.joinpath(folder).rglob("*.cpp")):
        text = without_comments(path.read_text())
        for call in CALL.finditer(text):
            pieces = arguments(text, call.end())
            if call[1] == "snprintf" and pieces[:1] != ["msgbuf"]:
                continue
            message, literals = messages(call[1], pieces)
            if message and all(text.encode() in program for text in literals):
                known.add(message)
    return known


def from_manual(path: str) -> set[str]:
    section = pathlib.Path(path).read_text().split(".Sh DIAGNOSTICS")[1].split("\n.Sh ")[0]
    entries = re.findall(r"^\.It (.*)", section, flags=re.M)
    escapes = {"\\(dq": '"', "\\(aq": "'", "\\&": ""}
    return {re.sub(r"\\\(..|\\&", lambda m: escapes[m[0]], entry).strip() for entry in entries}


if __name__ == "__main__":
    manual, program, *folders = sys.argv[1:]
    printed = from_sources(folders, pathlib.Path(program).read_bytes())
    answered = from_manual(manual)
    for message in sorted(printed - answered):
        print(f"{manual}: DIAGNOSTICS does not answer: {message}")
    for message in sorted(answered - printed):
        print(f"{manual}: the program cannot say: {message}")
    print(f"{len(printed)} messages, {len(answered)} entries")
    sys.exit(printed != answered or not printed)
