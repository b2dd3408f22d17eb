#!/bin/sh
# words.sh    fails when a file has a word that this project does not use, and prints the line: one
# vocabulary for the same things makes them easy to find.
set -eu
cd "$(dirname "$0")/.."

unwanted='[Pp]icture|[Pp]atience([^M]|$)|[Mm]isshapen|[Ff]arewell|letGo|giveOut|isSought|keepsEvent'
unwanted="$unwanted"'|noteSilence|\b([Tt]old|[Tt]ells|stuck|[Bb]esides?|letting go|let go)\b|\btell[A-Z(]'
status=0
git ls-files | grep -vE '^tests/fuzz/corpus/' | grep -E "$unwanted" || status=$?
if [ "$status" -eq 1 ]; then
    status=0
    git grep -nE "$unwanted" -- . ':!scripts/words.sh' ':!tests/fuzz/corpus' || status=$?
fi
if [ "$status" -ne 1 ]; then  # found, or an error of git
    echo "words.sh: write frame or image, timeout, wrong size, release, report, blocked, next to" >&2
    exit 1
fi
