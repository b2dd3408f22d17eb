#!/bin/sh
# kernel_symbols.sh NM 'NAME...' OBJECT...    fails when one of the objects, which are compiled for one
# instruction set, brings a function along that the linker could take for the rest of the library: that
# would run instructions which the processor may not have. Each NAME must be in one of them.
set -eu
nm=$1
names=$2
shift 2

symbols=$("$nm" "$@")
for name in $names; do
    echo "$symbols" | grep -q "$name" || { echo "kernel_symbols.sh: no $name" >&2; exit 1; }
done
! echo "$symbols" | grep -v ' DW.ref' | grep ' [uVW] '
