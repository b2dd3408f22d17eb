#!/usr/bin/python3
"""Checks that every include follows the layers of the project.

    layering.py ROOT FOLDER:ALLOWED,ALLOWED...

ROOT/src/FOLDER may include from itself, the allowed folders and the public headers. Public headers
include public headers only. A driver may include those, its own folder and drivers/common; a tool
those, its own folder and the headers that clean texts and find settings. nubrix-simulate alone joins
two programs: it shows the room of the virtual camera by the simulated network camera, with the options
of the tool.
"""
import pathlib
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"')
SOURCES = (".h", ".cpp")
SHARED = ("common/Text.h", "common/SettingsFiles.h")  # of drivers/
JOINED = {"simulate": ("tools/simulator", "tools/nubrix", "drivers")}


def includes(folder):
    """Each file below the folder with the line and the text of each include of ours."""
    for file in sorted(folder.rglob("*")):
        if file.suffix not in SOURCES:
            continue
        for number, line in enumerate(file.read_text().splitlines(), 1):
            if found := INCLUDE.match(line):
                yield file, number, found[1]


def problems(root, rules):
    def check(folder, allowed, look_in, shared=()):
        for file, number, name in includes(folder):
            where = f"{file.relative_to(root)}:{number}"
            path = pathlib.PurePath(name)
            if ".." in path.parts:
                yield f'{where}: "{name}" leaves its folder'
            elif name in shared or (root / "include" / path).is_file():
                continue
            elif not any((base / path).is_file() for base in look_in):
                yield f'{where}: "{name}" is not to be seen from here'
            elif len(path.parts) > 1 and path.parts[0] not in allowed:
                yield f'{where}: "{name}" is not on a floor that {folder.name} may use'

    yield from check(root / "include", set(), [])
    for folder in sorted(path for path in (root / "src").iterdir() if path.is_dir()):
        if folder.name not in rules:
            yield f"src/{folder.name}: no rule for this folder"
            continue
        yield from check(folder, {folder.name, *rules[folder.name]}, [root / "src"])
    for folder in sorted(path for path in (root / "drivers").glob("*") if path.is_dir()):
        yield from check(folder, {folder.name, "common"}, [root / "drivers"])
    for folder in sorted(path for path in (root / "tools").glob("*") if path.is_dir()):
        joined = [root / name for name in JOINED.get(folder.name, ())]
        own = {path.name for path in folder.iterdir() if path.is_dir()}
        yield from check(folder, {"virtual", *own}, [folder, *joined], SHARED)


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    rules = {}
    for rule in sys.argv[2:]:
        folder, _, allowed = rule.partition(":")
        rules[folder] = [name for name in allowed.split(",") if name]
    root = pathlib.Path(sys.argv[1])
    seen = sum(1 for top in ("include", "src", "drivers", "tools") for _ in includes(root / top))
    found = list(problems(root, rules))
    print(*found, f"{len(found)} bad includes of {seen}", sep="\n")
    return 1 if found or seen == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
