#!/bin/sh
# system_settings.sh TREE LIBDIR FOLDER    runs the installed TREE as /usr/local, with settings in
# /etc/nubrix: they count, and nothing is written below /usr. Both folders are those of this test
# alone, in a mount namespace of its own. FOLDER holds what the test makes. 77: namespaces are forbidden.
set -eu

fail() {
    echo "system_settings.sh: $1" >&2
    exit 1
}

# The lines of the file $1 that are below the default threshold of the log.
details() {
    grep -c '\[\(trace\|info\|warning\)\]' "$1" || :
}

# Writes what the program logs to before.log and after.log: before and after it reads the settings.
run_program() {
    ./log_settings 2>all.log || fail "the program failed: $(cat all.log)"
    sed '/^== settings$/,$d' all.log >before.log
    sed '1,/^== settings$/d' all.log >after.log
    grep -q "^== /usr/local/$libdir/nubrixLog.ini$" after.log || fail "$(tail -n 1 after.log)"
}

# Every folder, link and file, and what is in it.
content() {
    find /usr/local ! -type f | sort
    find /usr/local -type f -exec sha256sum {} + | sort -k 2
}

inside() {
    mount --bind etc /etc
    mount -t tmpfs none /usr/local
    cp -a "$tree/." /usr/local
    content >files.before
    export LD_LIBRARY_PATH="/usr/local/$libdir"

    run_program
    [ "$(details before.log)" -eq 0 ] || fail "details are logged without a setting"
    [ "$(details after.log)" -eq 0 ] || fail "details are logged without a setting"

    printf '[Log]\nLogLevel=0\n' >/etc/nubrix/nubrixLog.ini
    printf '[network]\nDiscovery=0\nsilenceMs=abc\n' >/etc/nubrix/nubrixNet.ini
    run_program
    [ "$(details before.log)" -gt 0 ] || fail "the log plug-in does not read /etc/nubrix"
    [ "$(details after.log)" -gt 0 ] || fail "the library does not read /etc/nubrix"
    if [ -e "/usr/local/$libdir/nubrix/libNubrixNetDriver.so" ]; then
        grep -q '/etc/nubrix/nubrixNet.ini: silenceMs=abc is not' all.log ||
            fail "the network driver does not read /etc/nubrix"
    fi

    # It fails where there are problems, of the machine for instance.
    unset LD_LIBRARY_PATH
    /usr/local/bin/nubrix doctor >doctor.log || :
    grep -q "library  *$(readlink -f "/usr/local/$libdir")/libNubrix.so.2$" doctor.log ||
        fail "doctor does not show the library: $(grep library doctor.log)"
    grep -q '/etc/nubrix/nubrixNet.ini: silenceMs=abc is not' doctor.log ||
        fail "doctor does not read /etc/nubrix"

    content >files.after
    diff files.before files.after || fail "something was written below /usr"
}

if [ "$1" = --inside ]; then
    tree=$2
    libdir=$3
    inside
    exit
fi

here=$(cd "$(dirname "$0")" && pwd)
tree=$1
libdir=$2
rm -rf "$3"
mkdir -p "$3/etc/nubrix"
cd "$3"
reason=$(unshare -rm true 2>&1) || { echo "no mount namespace: $reason"; exit 77; }
"$here/with_pkg_config.sh" "$tree/$libdir" "$here/log_settings.cpp" ./log_settings true
for file in ld.so.cache passwd group nsswitch.conf; do
    [ ! -e "/etc/$file" ] || cp "/etc/$file" etc
done
exec unshare -rm "$here/system_settings.sh" --inside "$tree" "$libdir"
