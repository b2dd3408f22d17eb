#!/bin/sh
# with_pkg_config.sh LIBDIR SOURCE PROGRAM COMMAND...
# Builds PROGRAM from SOURCE with the library that is installed in LIBDIR, then runs COMMAND.
set -eu
export PKG_CONFIG_PATH="$1/pkgconfig" LD_LIBRARY_PATH="$1"
source=$2
program=$3
shift 3

rm -f "$program"
# shellcheck disable=SC2046,SC2086  # lists of words
$CXX $CXXFLAGS "$source" $(pkg-config --cflags --libs nubrix) -o "$program"
exec "$@"
