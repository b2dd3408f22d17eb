#!/bin/sh
# bench.sh [FILTER]    installs the libraries that Nubrix is measured against, builds everything
# optimised, and runs the benchmarks, those of images, point clouds and checksums with every
# instruction set of this machine. Writes docs/benchmarks.md. With a FILTER (a regular expression) only
# the benchmarks that match run, and the result is printed and not written. Every single figure is in
# build/release/bench/*.json.
set -eu
cd "$(dirname "$0")/.."

scripts/deps.sh build bench peers
cmake --preset release -DNUBRIX_BUILD_TESTS=OFF -DNUBRIX_BUILD_BENCH=ON >/dev/null
cmake --build --preset release

# As src/cpu chooses them.
has() { for flag in "$@"; do grep -qw "$flag" /proc/cpuinfo || return 1; done; }
sets=scalar
if has ssse3 sse4_1; then sets="$sets sse41"; fi
if has avx2 fma; then sets="$sets avx2"; fi
if has avx512f avx512bw avx512dq avx512vl; then
    sets="$sets avx512"
    if has avx512vbmi; then sets="$sets avx512vbmi"; fi
fi
if has neon; then sets="$sets neon"; fi

rm -f build/release/bench/*.json
for bench in build/release/bench/*_bench; do
    name=${bench##*/}
    each=any in=
    case $name in
    image_bench | point_cloud_bench | checksum_bench) each=$sets ;;
    net_stream_bench) in=tests/drivers/net/own_network.sh ;;
    esac
    for set in $each; do
        echo "== $name $set" >&2
        NUBRIX_CPU=$set $in "$bench" --benchmark_filter="${1:-.}" --benchmark_min_time=0.05 \
            --benchmark_format=json --benchmark_out_format=json \
            --benchmark_out="$bench.$set.json" >/dev/null
    done
done

if [ $# -gt 0 ]; then
    /usr/bin/python3 scripts/bench_table.py build/release/bench
else
    /usr/bin/python3 scripts/bench_table.py build/release/bench >build/release/benchmarks.md
    mv build/release/benchmarks.md docs/benchmarks.md
fi
