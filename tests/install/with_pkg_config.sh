#!/bin/sh
# with_pkg_config.sh LIBDIR SOURCE PROGRAM COMMAND...
# Builds PROGRAM from SOURCE with the library that is installed in LIBDIR, then runs COMMAND.
set -eu
export PKG_CONFIG_PATH="$1/pkgconfig" LD_LIBRARY_PATH="$1"
source=$2
program=$3
shift 3

rm -f "$program"
# Not as words of this shell: pkg-config puts a backslash before the blanks of a path.
# shellcheck disable=SC2086  # lists of words
pkg-config --cflags --libs nubrix | xargs $CXX $CXXFLAGS "$source" -o "$program"
exec "$@"
