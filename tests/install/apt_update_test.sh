#!/bin/sh
# apt_update_test.sh SCRIPT FOLDER    runs scripts/apt-update.sh with an apt-get that answers first that
# another one holds the lock, then as the file `answer` does.
set -eu
script=$1
folder=$2

rm -rf "$folder"
mkdir -p "$folder/bin"
cat >"$folder/bin/apt-get" <<'END'
#!/bin/sh
here=$(dirname "$0")
echo "$*" >>"$here/calls"
if [ "$(wc -l <"$here/calls")" -le 2 ]; then
    echo "E: Could not get lock /var/lib/apt/lists/lock. It is held by process 1 (apt-get)" >&2
    exit 100
fi
. "$here/answer"
END
cat >"$folder/bin/sudo" <<'END'
#!/bin/sh
exec "$@"
END
chmod +x "$folder/bin/apt-get" "$folder/bin/sudo"
PATH=$folder/bin:$PATH

fail() { echo "apt_update_test.sh: $*" >&2; exit 1; }
calls() { wc -l <"$folder/bin/calls"; }

echo 'exit 0' >"$folder/bin/answer"
"$script" || fail "another apt was not waited for"
[ "$(calls)" -eq 3 ] || fail "$(calls) calls, not three"

echo 'echo "E: no such host" >&2; exit 100' >"$folder/bin/answer"
! "$script" 2>"$folder/errors" || fail "an error was taken for a success"
[ "$(calls)" -eq 4 ] || fail "an error that is no lock was tried again"
grep -q 'no such host' "$folder/errors" || fail "the error is not on the terminal"
