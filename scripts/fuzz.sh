#!/bin/sh
# fuzz.sh [SECONDS]    runs every fuzz target for that long (300 without), all at once, from the
# inputs in tests/fuzz/corpus. Fails when one finds something, and prints where the input is.
set -eu
cd "$(dirname "$0")/.."
seconds=${1:-300}
case $seconds in
'' | *[!0-9]* | 0) sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" >&2; exit 2 ;;
esac

scripts/deps.sh build fuzz
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

results=build/fuzz/results
rm -rf "$results"
running=
trap 'for each in $running; do kill "${each#*:}" 2>/dev/null || :; done' EXIT
trap 'exit 130' INT TERM
for corpus in tests/fuzz/corpus/*; do
    target=${corpus##*/}
    mkdir -p "$results/$target"
    # A copy: the fuzzer adds what it finds interesting.
    cp -r "$corpus" "$results/$target/corpus"
    "build/fuzz/bin/${target}_fuzz" "-max_total_time=$seconds" -timeout=10 -print_final_stats=1 \
        "-artifact_prefix=$results/$target/" "$results/$target/corpus" \
        >"$results/$target/log" 2>&1 &
    running="$running $target:$!"
done
echo "fuzz.sh: $seconds seconds; the logs are $results/*/log"

status=0
for each in $running; do
    target=${each%:*}
    log=$results/$target/log
    if wait "${each#*:}"; then
        runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
        echo "fuzz.sh: $target: $runs runs, nothing found"
    else
        status=1
        echo "fuzz.sh: $target failed" >&2
        tail -n 40 "$log" >&2
    fi
done
trap - EXIT
exit $status
