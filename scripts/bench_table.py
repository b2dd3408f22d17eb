#!/usr/bin/env python3
"""Prints what benchmarks measured as a Markdown document.

    bench_table.py FOLDER    with the files PROGRAM_bench.INSTRUCTIONS.json

A ratio is how many times as fast as its peer the job is: above 1, it is faster. A row has all image
sizes of a benchmark, and shows the lowest ratio of them. The goals are those of bench/goals.json.
"""
import collections
import datetime
import json
import os
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
SIZES = re.compile(r"/(width:\d+/height:\d+|bytes:\d+)")
ORDER = ["any", "scalar", "sse41", "avx2", "avx512", "avx512vbmi", "neon"]


def runs(path):
    """The name, instruction set and ratio of each benchmark in a file."""
    text = path.read_text()
    if not text.strip():  # no benchmark matched the filter
        return
    for run in json.loads(text)["benchmarks"]:
        if run.get("error_occurred"):
            raise SystemExit(f"bench_table: {run['name']}: {run['error_message']}")
        if "ratio" not in run:
            continue
        name = run["name"].removeprefix("BM_").removesuffix("/manual_time")
        yield name, path.suffixes[-2].removeprefix("."), run["ratio"]


def goal_of(goals, name, instructions):
    for goal in goals:
        if re.match(goal["benchmark"], name):
            goal["used"] = True
            # "ratio" is for all instruction sets that no other goal is for, but for these two.
            every = None if instructions in ("scalar", "sse41") else goal.get("ratio")
            value = goal.get(instructions, every)
            if value is not None:
                return value
    return None


def collect(folder):
    """Programs with their rows, {program: {row: {instructions: (lowest ratio, goal)}}}, and the goals
    of benchmarks that were not run."""
    goals = json.loads((ROOT / "bench" / "goals.json").read_text())
    programs = collections.defaultdict(lambda: collections.defaultdict(dict))
    for path in sorted(folder.glob("*_bench.*.json")):
        rows = programs[path.name.split(".")[0]]
        for name, instructions, ratio in runs(path):
            row = rows[SIZES.sub("", name)]
            lowest = min(ratio, row.get(instructions, (ratio,))[0])
            row[instructions] = (lowest, goal_of(goals, name, instructions))
    unused = [goal["benchmark"] for goal in goals if "used" not in goal]
    return {program: rows for program, rows in programs.items() if rows}, unused


def cell(value):
    if not value:
        return ""
    ratio, goal = value
    if goal is None:
        return f"{ratio:.2f}"
    if ratio >= goal:
        return f"{ratio:.2f} (met: {goal})"
    # What is short of the goal does not look like it.
    digits = 2 if round(ratio, 2) < goal else 3
    return f"{ratio:.{digits}f} (not met: {goal})"


def machine(folder):
    """The processor, and how busy it was when the programs began."""
    contexts = [json.loads(path.read_text())["context"] for path in folder.glob("*_bench.*.json")
                if path.stat().st_size]
    loads = [context["load_avg"][0] for context in contexts]
    info = pathlib.Path("/proc/cpuinfo").read_text()
    model = re.search(r"^(?:model name|Model)\s*: (.*)$", info, re.MULTILINE)
    return (f"{model.group(1).strip() if model else os.uname().machine}, {os.cpu_count()} processors, "
            f"load {min(loads):.1f} to {max(loads):.1f}; {datetime.date.today()}")


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    folder = pathlib.Path(sys.argv[1])
    programs, unused = collect(folder)
    if not programs:
        sys.exit("bench_table: nothing was measured")
    values = [value for rows in programs.values() for row in rows.values() for value in row.values()]
    goals = [ratio >= goal for ratio, goal in values if goal is not None]
    print(f"""# Benchmarks

`scripts/bench.sh` writes this page. Each benchmark measures its job next to a peer or a physical limit,
which its name ends with, in the same run. The figure is a ratio: how many times as fast as the peer
the job is, the lowest of all image sizes. In brackets is the goal. `frames:1` works on one image,
which the caches hold, `frames:8` on eight in turn, as frames from a pool are.

Measured on: {machine(folder)}.

Goals met: {sum(goals)} of {len(goals)}.""")
    if unused:
        print("\nNot run: " + ", ".join(f"`{name}`" for name in unused) + ".")
    for program, rows in programs.items():
        columns = [each for each in ORDER if any(each in row for row in rows.values())]
        print(f"\n## {program}\n")
        print("| benchmark |" + "".join(f" {'ratio' if each == 'any' else each} |" for each in columns))
        print("|---|" + "---|" * len(columns))
        for name, row in rows.items():
            print(f"| `{name}` |" + "".join(f" {cell(row.get(each))} |" for each in columns))


if __name__ == "__main__":
    main()
