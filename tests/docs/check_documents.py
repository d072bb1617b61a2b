"""check_documents.py [PROGRAM...]: what can be checked of the documents without running anything. Links and
files exist, every switch, option and column is in its place and nowhere else in full, nothing is too long, and
the programs can say what their manuals answer."""

import pathlib
import re
import sys
from collections.abc import Iterator

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
# The most words of each document. What holds neither letter nor digit, such as the frame of a table, is no word.
WORDS = {"README.md": 900, "CONTRIBUTING.md": 550, "CHANGELOG.md": 600, "docs/CLUSTER.md": 750,
         "docs/DESIGN.md": 1800, "docs/MAIL-SERVERS.md": 1100, "docs/OPERATION.md": 1800,
         "docs/PANEL.md": 2000, "docs/PERFORMANCE.md": 1000, "docs/RELIABILITY.md": 700,
         "docs/SECURITY.md": 1200, "man/autoresponder.8": 3300, "man/autoresponder-explain.8": 650,
         "man/autoresponder-setup.8": 700}
ALL_WORDS = 14000
PLAIN = ("README.md", "docs/PANEL.md", "docs/MAIL-SERVERS.md")  # no sentence of more than
WORDS_A_SENTENCE = 30
SWITCH = r"AUTORESPONDER_[A-Z_]+"
TEXTS = {name: (REPOSITORY / name).read_text() for name in WORDS if (REPOSITORY / name).exists()}
TEXTS["CHANGELOG.md"] = TEXTS["CHANGELOG.md"].split("\n## ")[1]  # the newest version
MANUALS = {name: text for name, text in TEXTS.items() if name.startswith("man/")}
PAGES = {name: text for name, text in TEXTS.items() if name not in MANUALS}


def sources(pattern: str) -> str:
    return "\n".join(path.read_text() for path in sorted(REPOSITORY.glob(pattern)))


def differing(what: str, expected: set[str], found: set[str]) -> Iterator[str]:
    for name in sorted(expected ^ found):
        yield f"{what}: {name} is {'missing' if name in expected else 'not known'}"


def words(text: str) -> list[str]:
    return [word for word in text.split() if any(c.isalnum() for c in word)]


def lengths() -> Iterator[str]:
    known = {str(path.relative_to(REPOSITORY)) for folder in ("docs/*.md", "man/*", "*.md")
             for path in REPOSITORY.glob(folder)}
    yield from differing("documents", set(WORDS), known)
    counts = {name: len(words(text)) for name, text in TEXTS.items()}
    for name, count in counts.items():
        if count > WORDS[name]:
            yield f"{name}: {count} words, {WORDS[name]} at most"
    if sum(counts.values()) > ALL_WORDS:
        yield f"all documents: {sum(counts.values())} words, {ALL_WORDS} at most"


def prose(text: str) -> Iterator[str]:
    """Paragraphs, list items and cells of tables."""
    text = re.sub(r"(?ms)^```.*?^```$", "\n\n", text)
    text = re.sub(r"(?m)^(?:    .*|#.*)$", "", text)
    for block in re.split(r"\n\s*\n|\n(?=\s*(?:[-|]|\d+\.) )|(?<=\|)\n", text):
        yield from (block.split(" | ") if block.startswith("|") else [re.sub(r"^\s*(?:-|\d+\.) ", "", block)])


def sentences() -> Iterator[str]:
    for name in PLAIN:
        for block in prose(TEXTS.get(name, "")):
            for sentence in re.split(r"(?<=[.!?])\s+(?=[A-Z`\[])", block):
                if len(words(sentence)) > WORDS_A_SENTENCE:
                    yield f"{name}: a sentence of {len(words(sentence))} words: {' '.join(sentence.split())}"


def anchors(text: str) -> set[str]:
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")
            for heading in re.findall(r"(?m)^#+ (.*)$", text)}


def links() -> Iterator[str]:
    """Links, and files of this repository that are named in backticks or by a manual."""
    folders = {path.name for path in REPOSITORY.iterdir() if path.is_dir()} - {"build"}
    for name, text in TEXTS.items():
        for target, anchor in re.findall(r"\]\((?!https?:)([^)#]*)#?([^)]*)\)", text):
            path = (REPOSITORY / name).parent / target if target else REPOSITORY / name
            if not path.exists() or (anchor and anchor not in anchors(path.read_text())):
                yield f"{name}: no {target}{'#' * bool(anchor)}{anchor}"
        for path in re.findall(r"`([\w.-]+/[\w./*-]*)", text):
            if path.split("/")[0] in folders and not any(REPOSITORY.glob(path.rstrip("/"))):
                yield f"{name}: no {path}"
        for page in re.findall(r"[A-Z][A-Z-]+\.md" if name in MANUALS else r"\b\B", text):
            if not any(page in known for known in WORDS):
                yield f"{name}: no {page}"


def switches() -> Iterator[str]:
    """The manual describes them, ovk.conf has a line for each, others only name them."""
    known = set(re.findall(f'"({SWITCH})"', sources("autoresponder/**/*.cpp")))
    yield from differing("man/autoresponder.8", known, set(re.findall(
        rf"(?m)^\.It Va ({SWITCH})$", TEXTS["man/autoresponder.8"])))
    example = (REPOSITORY / "examples/ovk.conf").read_text()
    yield from differing("examples/ovk.conf", known, set(re.findall(
        rf"(?m)^\n#.*\n#?({SWITCH}) ", example)))
    for name, text in TEXTS.items():
        for switch in set(re.findall(SWITCH, text)) - known:
            yield f"{name}: no such switch: {switch}"
        for switch in re.findall(rf"(?m)^\s*(?:- |\| *)`({SWITCH})", text if name != "CHANGELOG.md" else ""):
            yield f"{name}: describes {switch}"


def options() -> Iterator[str]:
    """A manual has what its program takes."""
    taken = {"man/autoresponder-explain.8": r'\{"([a-z-]+)", \w+_argument',
             "man/autoresponder-setup.8": r"(?m)^ +--([a-z-]+)\)"}
    for manual, pattern in taken.items():
        if manual in TEXTS:
            read = sources("autoresponder/explain/main.cpp" if "explain" in manual
                           else "setup/autoresponder-setup")
            yield from differing(manual, set(re.findall(pattern, read)), set(re.findall(
                r"(?m)^\.It Fl -([a-z-]+)", TEXTS[manual])))


def columns() -> Iterator[str]:
    """PANEL.md has every column of the tables that are read, in a section of the table or as TABLE.COLUMN."""
    page, known, found = PAGES["docs/PANEL.md"], set(), set()
    for table, body in re.findall(r"create table (\w+) \((.*?)\n\)", sources("schema/*.sql"), re.S):
        if table not in ("dom_param", "Parameters"):  # of no use to the program
            known |= {f"{table}.{column}" for column in re.findall(r"(?m)^    (?!\w+ key|key )(\w+) ", body)}
    for section in page.split("\n### ")[1:]:
        table = re.match(r"`(\w+)`", section)
        for column in re.findall(r"(?m)^\| `([\w.]+)` \|", section.split("\n## ")[0]):
            found.add(column if "." in column else f"{table[1]}.{column}")
    yield from differing("docs/PANEL.md", known, found)


def messages() -> Iterator[str]:
    """In a manual's DIAGNOSTICS "..." is what is inserted at run time, as the program's name in front may be."""
    for program in map(pathlib.Path, sys.argv[1:]):
        diagnostics = TEXTS[f"man/{program.name}.8"].split(".Sh DIAGNOSTICS")[1].split("\n.Sh ")[0]
        for entry in re.findall(r"(?m)^\.It (.*)", diagnostics):
            message = entry.replace(r"\(dq", '"').replace(r"\(aq", "'").replace(r"\&", "")
            for piece in re.sub("^[a-z-]+: ", "", message).split("..."):
                if piece.strip().encode() not in program.read_bytes():
                    yield f"man/{program.name}.8: the program cannot say: {entry}"


if __name__ == "__main__":
    problems = [problem for check in (lengths, sentences, links, switches, options, columns, messages)
                for problem in check()]
    print("\n".join(problems) or f"{len(TEXTS)} documents are in order")
    sys.exit(bool(problems))
