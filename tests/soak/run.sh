#!/bin/sh
# run.sh PROGRAM SIMULATOR FOLDER SECONDS INTERVAL SEED [REPORT OPTION...]    runs the soak program
# with a network and a small disk of its own, and judges its lines: soak.csv,
# soak.svg and report.md in FOLDER, which is emptied first. The exit status is 0 when nothing grew and nothing failed, 77 where a user may have no
# network or file system of his own.
set -eu
program=$1 simulator=$2 folder=$3 seconds=$4 interval=$5 seed=$6
shift 6
report=$(dirname "$0")/../../scripts/soak_report.py

if ! reason=$(unshare -rmn ip link set lo up 2>&1); then
    echo "run.sh: left out: no network of one's own: ${reason:-unshare does not report why}" >&2
    exit 77
fi
rm -rf "$folder"
mkdir -p "$folder/disk"
status=0
# shellcheck disable=SC2016  # of the inner shell
unshare -rmn sh -c '
    ip link set lo up
    mount -t tmpfs -o size=32m none "$2/disk"
    exec "$@"' - "$program" "$folder" "$simulator" "$seconds" "$interval" "$seed" ||
    status=$?
"$report" "$@" --svg "$folder/soak.svg" --markdown "$folder/report.md" "$folder/soak.csv" || status=1
exit $status
