#!/bin/sh
# first_block.sh DOCUMENT    prints the first C++ block of a Markdown document.
set -eu
awk '/^```cpp$/ { inside = 1; next } inside && /^```$/ { ended = 1; exit } inside
     END { exit !ended }' "$1" || { echo "first_block.sh: no C++ block in $1" >&2; exit 1; }
