#!/bin/sh
# abi.sh [OPTION...] [LIBRARY...]    compares the binary interface of each library with the baseline of
# its architecture, abi/ARCH.abi.xz, which is that of the last release. It fails when programs that were
# built for the baseline might not work any more: a function, an operation's place in its table, a
# record's layout or a type has changed. New functions are printed and pass; an operation or a field that
# was added at an end is a change to look at, and then --update. The libraries need debug information; without arguments they are those that the presets dev and armhf have built.
#   --update            write the baselines: at a release, or when a change was intended
#   --headers FOLDER    the public headers; types of other headers are not compared (include/nubrix)
#   --baselines FOLDER  where the baselines are (abi)
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
headers=$root/include/nubrix
baselines=$root/abi
update=false

usage() {
    sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" >&2
    exit 2
}

# As Debian names it.
architecture_of() {
    case $(readelf -h "$1" | sed -n 's/^ *Machine: *//p') in
    *X86-64*) echo amd64 ;;
    ARM) echo armhf ;;
    *) echo "abi.sh: no architecture that is known: $1" >&2; return 1 ;;
    esac
}

# describe LIBRARY FILE: the interface as text, without the names of folders and lines of sources.
describe() {
    readelf -SW "$1" | grep -q '\.debug_info' || {
        echo "abi.sh: no debug information: $1" >&2
        exit 1
    }
    abidw --headers-dir "$headers" --drop-private-types --no-corpus-path --no-comp-dir-path \
        --no-show-locs --out-file "$2" "$1"
}

# compare LIBRARY BASELINE
compare() {
    [ -e "$2" ] || { echo "abi.sh: there is no baseline $2; --update writes it" >&2; exit 1; }
    xz -dc "$2" >"$work/old.abi"
    describe "$1" "$work/new.abi"
    if ! abidiff --no-added-syms "$work/old.abi" "$work/new.abi" >"$work/changes"; then
        cat "$work/changes"
        echo "abi.sh: programs built for the last release might not work with $1" >&2
        exit 1
    fi
    if abidiff "$work/old.abi" "$work/new.abi" >"$work/additions"; then
        echo "abi.sh: $1: unchanged"
    else
        cat "$work/additions"
        echo "abi.sh: $1: additions only; scripts/abi.sh --update takes them into the baseline"
    fi
}

while [ $# -gt 0 ]; do
    case $1 in
    --update) update=true ;;
    --headers) headers=$(cd "$2" && pwd); shift ;;
    --baselines) baselines=$(cd "$2" && pwd); shift ;;
    -*) usage ;;
    *) break ;;
    esac
    shift
done
if [ $# -eq 0 ]; then
    for preset in dev armhf; do
        library=$root/build/$preset/lib/libNubrix.so
        [ ! -e "$library" ] || set -- "$@" "$library"
    done
    [ $# -gt 0 ] || { echo "abi.sh: no library is built: cmake --build --preset dev" >&2; exit 1; }
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for library in "$@"; do
    architecture=$(architecture_of "$library")
    baseline=$baselines/$architecture.abi.xz
    if $update; then
        describe "$library" "$work/new.abi"
        xz -9e --stdout "$work/new.abi" >"$baseline"
        echo "abi.sh: $baseline: written from $library"
    else
        compare "$library" "$baseline"
    fi
done
