#!/usr/bin/env python3
"""tidy.py BUILD    runs clang-tidy on the library, the plug-ins and the tools.

BUILD is a folder configured with clang++. Fails when something is found, and prints it.
What was clean is not looked at again: ccache keeps that verdict as it keeps an object, until the
source, a header, .clang-tidy, clang-tidy or this file changes. For ccache this file poses as the
compiler: a clean source gives a short object and the list of what it includes, and anything else
fails, so that a finding is never kept.
"""
import concurrent.futures
import hashlib
import json
import os
import pathlib
import shlex
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LINTED = tuple(f"{ROOT / folder}{os.sep}" for folder in ("src", "drivers", "tools"))


def verdict(arguments):
    """Poses as the compiler that `arguments` were meant for; returns its status."""
    if "-c" not in arguments:
        return subprocess.run(["clang++", *arguments], check=False).returncode
    flags = list(arguments)
    taken = {}
    for option in ("-o", "-MF", "-MT", "-MQ"):
        while option in flags:
            at = flags.index(option)
            taken[option] = flags[at + 1]
            del flags[at:at + 2]
    source = next(flag for flag in flags if flag.endswith(".cpp"))
    flags = [flag for flag in flags if flag not in ("-c", "-MD", "-MMD", source)]
    tidy = subprocess.run(["clang-tidy", "--quiet", source, "--", *flags], check=False, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    if tidy.returncode != 0:
        lines = [line for line in tidy.stdout.splitlines() if "warnings generated" not in line]
        print("\n".join(lines), file=sys.stderr)
        return tidy.returncode
    listed = subprocess.run(["clang++", *flags, source, "-M", "-MF", taken.get("-MF", os.devnull),
                             "-MT", taken["-o"]], check=False)
    if listed.returncode == 0:
        pathlib.Path(taken["-o"]).write_text("clean\n", encoding="ascii")  # ccache keeps no empty one
    return listed.returncode


def cache_settings():
    """What makes ccache keep verdicts, as environment variables."""
    rules = [ROOT / ".clang-tidy"]
    for folder in LINTED:
        rules += sorted(pathlib.Path(folder).rglob(".clang-tidy"))
    version = subprocess.run(["clang-tidy", "--version"], check=True, capture_output=True).stdout
    known = hashlib.sha256(version + pathlib.Path(__file__).read_bytes()).hexdigest()
    return {"CCACHE_BASEDIR": str(ROOT), "CCACHE_NOHASHDIR": "1", "CCACHE_DEPEND": "1",
            "CCACHE_INODECACHE": "1", "CCACHE_SLOPPINESS": "include_file_mtime,include_file_ctime",
            "CCACHE_COMPILERTYPE": "clang", "CCACHE_COMPILERCHECK": f"string:{known}",
            "CCACHE_EXTRAFILES": os.pathsep.join(map(str, rules))}


def lint(entry, folder, settings):
    """Returns what is found in the source of an entry of the compilation database."""
    source = pathlib.Path(entry["file"])
    words = shlex.split(entry["command"])
    flags = words[next(i for i, word in enumerate(words) if word.endswith("clang++")) + 1:]
    output = flags.index("-o") + 1  # its own for each entry: a source may have several
    stem = folder / flags[output].replace(os.sep, "_")
    flags[output] = f"{stem}.o"
    command = [__file__, *flags, "-MD", "-MT", f"{stem}.o", "-MF", f"{stem}.d"]
    run = {"cwd": entry["directory"], "check": False, "text": True, "stdout": subprocess.PIPE,
           "stderr": subprocess.STDOUT}
    if shutil.which("ccache"):
        result = subprocess.run(["ccache", *command], env=os.environ | settings, **run)
    if not shutil.which("ccache") or (result.returncode != 0 and
                                      result.stdout.startswith("ccache: error")):  # it cannot write
        result = subprocess.run(command, **run)
    if result.returncode != 0:
        return result.stdout or f"{source}: clang-tidy failed\n"
    return ""


def main(build):
    build = pathlib.Path(build).resolve()
    entries = json.loads((build / "compile_commands.json").read_text(encoding="utf-8"))
    entries = [entry for entry in entries if entry["file"].startswith(LINTED)]
    if not entries:
        sys.exit("tidy.py: no source to look at")
    folder = build / "tidy"
    folder.mkdir(exist_ok=True)
    settings = cache_settings()
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        found = list(pool.map(lambda entry: lint(entry, folder, settings), entries))
    sys.stderr.write("".join(found))
    return 1 if any(found) else 0


if __name__ == "__main__":
    if len(sys.argv) == 2 and not sys.argv[1].startswith("-"):
        sys.exit(main(sys.argv[1]))
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    sys.exit(verdict(sys.argv[1:]))
