#!/usr/bin/env python3
"""Prints what benchmarks measured as one table.

    bench_table.py RESULTS.json...

A ratio is how many times as fast as its peer the job is: above 1, it is faster. Without a peer the
limit in the name (memcpy, a lock, a hand-over) takes its place.
"""
import json
import pathlib
import sys


def rows(path):
    text = path.read_text()
    if not text.strip():
        return
    for run in json.loads(text)["benchmarks"]:
        if "ns" in run and "peer_ns" in run and run["ns"] > 0:
            name = run["name"].removeprefix("BM_").removesuffix("/manual_time")
            yield name, run["ns"], run["peer_ns"], run["peer_ns"] / run["ns"], run.get("label", "")


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    print(f"{'job':64}{'ns':>14}{'peer ns':>14}{'ratio':>8}  instructions")
    found = False
    for path in map(pathlib.Path, sys.argv[1:]):
        for name, ours, peers, ratio, label in rows(path):
            found = True
            print(f"{name:64}{ours:14.0f}{peers:14.0f}{ratio:8.2f}  {label}")
    if not found:
        sys.exit("bench_table: nothing was measured")


if __name__ == "__main__":
    main()
