#!/usr/bin/env python3
"""table_test.py EXAMPLES    fails unless the table of EXAMPLES/README.md has one row for each program
of EXAMPLES/cpp with its question, the program begins with one, and the build has a target for it."""
import pathlib
import re
import sys

LINES = range(40, 61)  # of a program, comments included, empty ones not: it is read as a whole


def problems(examples):
    readme = (examples / "README.md").read_text()
    build = (examples / "cpp" / "CMakeLists.txt").read_text()
    rows = re.findall(r"^\| (.+?\?) \| \[(\w+)\]\(cpp/(\w+)\.cpp\)", readme, re.M)
    programs = sorted(path.stem for path in (examples / "cpp").glob("*.cpp"))
    if sorted(name for _, name, _ in rows) != programs:
        yield f"the table has {sorted(name for _, name, _ in rows)}, the folder {programs}"
    for _, name, file in rows:
        if name != file:
            yield f"{name} leads to {file}.cpp"
    for link in re.findall(r"\]\((\.?\.?[\w/.-]+)", readme):
        if not (examples / link).exists():
            yield f"README.md names {link}, which is not there"
    for name in programs:
        source = (examples / "cpp" / f"{name}.cpp").read_text()
        if not re.match(r"// [^\n]*(\n// [^\n]*)?\?", source):
            yield f"{name}.cpp does not begin with its question"
        if '#include "' in source:
            yield f"{name}.cpp includes a file that is not installed"
        if not re.search(rf"\b{name}\b", build):
            yield f"CMakeLists.txt does not build {name}"
        lines = sum(1 for line in source.splitlines() if line.strip())
        if lines not in LINES:
            yield f"{name}.cpp has {lines} lines that are not empty, not {LINES[0]} to {LINES[-1]}"


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    found = list(problems(pathlib.Path(sys.argv[1])))
    print("\n".join(found))
    sys.exit(1 if found else 0)
