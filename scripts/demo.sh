#!/bin/sh
# demo.sh [FOLDER]    builds Nubrix and shows a camera that needs no hardware: the list, three
# streams for three seconds, and their first and last pictures in FOLDER (build/demo/pictures).
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
pictures=${1:-$root/build/demo/pictures}

"$root/scripts/deps.sh" build
cd "$root"
cmake --preset release -B build/demo -DNUBRIX_BUILD_TESTS=OFF -DNUBRIX_BUILD_BENCH=OFF >/dev/null
cmake --build build/demo --parallel
cd "$OLDPWD"
mkdir -p "$pictures"
nubrix=$root/build/demo/bin/nubrix

echo
"$nubrix" --virtual list
echo
"$nubrix" --virtual stream --streams color,depth,ir --seconds 3 --save "$pictures"
