#!/bin/sh
# driver_document.sh DOCUMENT FOLDER TREE LIBDIR
# Builds the driver of DOCUMENT with the command that DOCUMENT gives, lays it next to a link to the
# installed library, and streams from it with the installed tool.
set -eu
document=$1
folder=$2
tree=$3
libdir=$tree/$4
here=$(cd "$(dirname "$0")" && pwd)

rm -rf "$folder"
mkdir -p "$folder"
"$here/first_block.sh" "$document" >"$folder/slope.cpp"
command=$(sed -n 's/^g++ //p' "$document")
(cd "$folder" && eval "$CXX $command -I \"\$tree/include\" -Wall -Wextra -Werror")
ln -s "$libdir/libNubrix.so.2" "$libdir/nubrix/libNubrixLogDriver.so" "$folder"

export LD_LIBRARY_PATH="$folder"
"$tree/bin/nubrix" list | tee "$folder/list"
grep -q SLOPE1 "$folder/list"
"$tree/bin/nubrix" stream --streams depth --frames 3 --save "$folder/images"
[ -s "$folder/images/depth-first.png" ]
