"""check_manual.py MANUAL PROGRAM: each message that the manual's DIAGNOSTICS answers occurs in the program.
What is inserted at run time stands as "..."; the program's name in front may be inserted as well."""

import pathlib
import re
import sys

manual, program = sys.argv[1:]
section = pathlib.Path(manual).read_text().split(".Sh DIAGNOSTICS")[1].split("\n.Sh ")[0]
entries = [re.sub(r"\\\(..|\\&", lambda m: {"\\(dq": '"', "\\(aq": "'", "\\&": ""}[m[0]], entry).strip()
           for entry in re.findall(r"^\.It (.*)", section, flags=re.M)]
texts = pathlib.Path(program).read_bytes()
missing = [entry for entry in entries for piece in re.sub(r"^[a-z-]+: ", "", entry).split("...")
           if piece.strip().encode() not in texts]
for entry in missing:
    print(f"{manual}: the program cannot say: {entry}")
print(f"{len(entries)} entries")
sys.exit(bool(missing) or not entries)
