#!/bin/sh
# readme.sh README FOLDER LAUNCHER WITH_PKG_CONFIG...
# Builds the first C++ program of README in FOLDER and runs it under LAUNCHER. It must say something
# and end well.
set -eu
readme=$1
folder=$2
launcher=$3
shift 3

rm -rf "$folder"
mkdir -p "$folder"
awk '/^```cpp$/ { inside = 1; next } inside && /^```$/ { ended = 1; exit } inside
     END { exit !ended }' "$readme" >"$folder/first.cpp" ||
    { echo "readme.sh: no C++ block in $readme" >&2; exit 1; }

"$@" "$folder/first.cpp" "$folder/first" "$launcher" "$folder/first" >"$folder/output"
head -n 5 "$folder/output"
[ -s "$folder/output" ] || { echo "readme.sh: the program said nothing" >&2; exit 1; }
