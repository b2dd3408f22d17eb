#!/bin/sh
# bench.sh [FILTER]    installs the libraries that Nubrix is measured beside, builds everything
# optimised, runs the benchmarks whose names match FILTER (a regular expression) and prints one table
# of ratios. Everything said of each run lies in build/release/bench/*.json.
set -eu
cd "$(dirname "$0")/.."
filter=${1:-.}

scripts/deps.sh build bench peers
cmake --preset release -DNUBRIX_BUILD_TESTS=OFF -DNUBRIX_BUILD_BENCH=ON >/dev/null
cmake --build --preset release
for bench in build/release/bench/*_bench; do
    echo "== ${bench##*/}" >&2
    "$bench" --benchmark_filter="$filter" --benchmark_format=json --benchmark_out_format=json \
        --benchmark_out="$bench.json" >/dev/null
done
/usr/bin/python3 scripts/bench_table.py build/release/bench/*_bench.json
