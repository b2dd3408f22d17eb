#!/bin/sh
# abi_gate_test.sh ABI_SH FOLDER    changes a small library in each way that scripts/abi.sh must find,
# and in those that it must accept.
set -eu
abi=$1
folder=$2
rm -rf "$folder"
mkdir -p "$folder/include" "$folder/baselines" "$folder/src"
cd "$folder"

fail() {
    echo "abi_gate_test.sh: $1" >&2
    exit 1
}

# original: writes the library's sources.
original() {
    cat >include/toy.h <<'END'
#pragma once
struct ToyRecord {
    int first;
    char second;
    short third;
};
class ToyContext {
public:
    virtual ~ToyContext() = default;
    virtual int open(int id) = 0;
    virtual int close(int id) = 0;
    virtual int read(ToyRecord *record) = 0;
};
enum ToyState { TOY_OPEN, TOY_CLOSED };
#define TOY_API extern "C" __attribute__((visibility("default")))
TOY_API ToyContext *toyFactory();
TOY_API int toyVersion(ToyState state);
END
    cat >src/toy.cpp <<'END'
#include "toy.h"
#include "inside.h"
class Inside final : public ToyContext {
public:
    int open(int id) override { return m_part.count += id; }
    int close(int id) override { return m_part.count -= id; }
    int read(ToyRecord *record) override { return record->first; }
private:
    InsidePart m_part;
};
ToyContext *toyFactory() { return new Inside; }
int toyVersion(ToyState state) { return state; }
END
    echo 'struct InsidePart { int count = 0; };' >src/inside.h
}

# gate OPTION... : builds the library and runs the script on it.
gate() {
    # shellcheck disable=SC2086  # a list of words
    $CXX ${CXXFLAGS:--O0} -g -shared -fPIC -fvisibility=hidden -I include -I src src/toy.cpp -o libToy.so
    "$abi" --headers include --baselines baselines "$@" ./libToy.so >report 2>&1
}

# change FILE EDIT: an edit of the original, which must change the file.
change() {
    original
    cp "$1" before
    sed -i "$2" "$1"
    ! cmp -s before "$1" || fail "the edit changes nothing: $2"
}

# finds WHAT TEXT: the last change must be refused, with a report that contains TEXT.
finds() {
    ! gate || fail "not found: $1"
    grep -q "$2" report || fail "$1: the report lacks '$2': $(cat report)"
    echo "found: $1"
}

# accepts WHAT TEXT
accepts() {
    gate || fail "refused: $1: $(cat report)"
    grep -q "$2" report || fail "$1: the report lacks '$2': $(cat report)"
    echo "accepted: $1"
}

original
! gate || fail "a missing baseline passes"
gate --update
accepts "no change" "unchanged"
CXXFLAGS=-O3 accepts "another optimisation" "unchanged"

change include/toy.h '/virtual int open/{h;d};/virtual int close/{G}'
finds "two operations that have changed places" "vtable offset"
change include/toy.h '/virtual int close/i virtual int inserted(int id) { return id; }'
finds "an operation that was inserted" "vtable offset"
change include/toy.h 's/int first;/&\n    int added;/'
finds "a field that was inserted into a record" "added"
change include/toy.h 's/short third;/&\n    int added;/'
finds "a field that was added at the end of a record" "added"
change include/toy.h 's/short third;/int third;/'
finds "a field of another type" "third"
change include/toy.h 's/TOY_OPEN, TOY_CLOSED/TOY_CLOSED, TOY_OPEN/'
finds "two values of an enumeration that have changed places" "TOY_"
change src/toy.cpp 's/^int toyVersion.*//'
finds "a function that was removed" "toyVersion"
change src/toy.cpp 's/^int toyVersion.*//'
sed -i 's/toyVersion(ToyState state)/toyVersion(ToyState state, int more)/' include/toy.h
echo 'int toyVersion(ToyState state, int more) { return state + more; }' >>src/toy.cpp
finds "a function with another parameter" "toyVersion"

# shellcheck disable=SC2016  # of sed
change src/toy.cpp '$a TOY_API int toyAdded(int id) { return id; }'
accepts "a function that was added" "toyAdded"
gate --update
accepts "the same after an update" "unchanged"
gate --update
original
finds "the added function that was removed again" "toyAdded"
gate --update
change src/inside.h 's/int count = 0;/int before = 0; &/'
accepts "a type that is not public" "unchanged"

$CXX -shared -fPIC -I include -I src src/toy.cpp -o libToy.so
! "$abi" --headers include --baselines baselines ./libToy.so 2>report || fail "no -g is no error"
grep -q "no debug information" report || fail "$(cat report)"
