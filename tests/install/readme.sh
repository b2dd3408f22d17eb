#!/bin/sh
# readme.sh README FOLDER LAUNCHER WITH_PKG_CONFIG...
# Builds the first C++ program of README in FOLDER and runs it under LAUNCHER. It must print something
# and succeed.
set -eu
readme=$1
folder=$2
launcher=$3
shift 3

rm -rf "$folder"
mkdir -p "$folder"
"$(dirname "$0")/first_block.sh" "$readme" >"$folder/first.cpp"

"$@" "$folder/first.cpp" "$folder/first" "$launcher" "$folder/first" >"$folder/output"
head -n 5 "$folder/output"
[ -s "$folder/output" ] || { echo "readme.sh: the program printed nothing" >&2; exit 1; }
