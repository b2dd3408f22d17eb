#!/bin/sh
# soak.sh [OPTION...] [HOURS]    uses the library for HOURS (a number like 2 or 0.5; ten minutes
# without) as applications do that run for days, at low priority, and checks that nothing grows.
# docs/reliability.md describes what is done.
#   --out FOLDER   where soak.csv, soak.svg, report.md and the log of the library go; emptied first
#                  (default build/soak)
#   --seed N       what the cameras do and when (default 1)
#   --document     puts the result into docs/reliability.md and docs/images/soak.svg
set -eu

usage() {
    sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" >&2
    exit 2
}

seconds=600 folder= seed=1 document=
while [ $# -gt 0 ]; do
    case $1 in
    --out) [ $# -ge 2 ] || usage; folder=$(realpath -m "$2"); shift ;;
    --seed) [ $# -ge 2 ] || usage; seed=$2; shift ;;
    --document) document=yes ;;
    -* | '' | *[!0-9.]* | *.*.* | .) usage ;;
    *) seconds=$(echo "$1" | awk '{ print int($1 * 3600) }') ;;
    esac
    shift
done
[ "$seconds" -ge 300 ] || { echo "soak.sh: less than five minutes are too few lines" >&2; exit 2; }

cd "$(dirname "$0")/.."
folder=${folder:-$PWD/build/soak}
scripts/deps.sh build test bench
cmake --preset release -DNUBRIX_BUILD_TESTS=ON >/dev/null
nice cmake --build --preset release --target nubrix_soak
bin=$PWD/build/release/bin

set -- "$bin/nubrix_soak" "$bin/nubrix-simulate" "$folder" "$seconds" 60 "$seed"
if [ -z "$document" ]; then
    exec nice -n 19 tests/soak/run.sh "$@"
fi
exec nice -n 19 tests/soak/run.sh "$@" --document docs/reliability.md --plot docs/images/soak.svg
