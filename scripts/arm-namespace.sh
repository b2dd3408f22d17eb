#!/bin/sh
# arm-namespace.sh COMMAND...    runs a command as root of a user namespace in which programs for 32-bit
# ARM run, emulated. The machine outside stays as it is: since Linux 6.7 the kernel keeps the table of
# emulators for each user namespace. Needs root.
set -eu

if [ "${1:-}" = --inside ]; then
    shift
    mount -t binfmt_misc binfmt_misc /proc/sys/fs/binfmt_misc
    # The start of an ELF file of 32 bits for ARM. With F the kernel opens the emulator now, so that it
    # is found in every root.
    magic='\x7fELF\x01\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\x28\x00'
    mask='\xff\xff\xff\xff\xff\xff\xff\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff'
    printf '%s' ":arm:M::$magic:$mask:$1:F" >/proc/sys/fs/binfmt_misc/register
    shift
    exec unshare --pid --fork --kill-child "$@"
fi

script=$(realpath "$0")
[ $# -ge 1 ] || { sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$script" >&2; exit 2; }
fail() { echo "arm-namespace.sh: $*" >&2; exit 1; }
root=$(dirname "$(dirname "$script")")

printf '%s\n' 6.7 "$(uname -r)" | sort -VC || fail "emulation in a namespace needs Linux 6.7 or later; this is $(uname -r)"
unshare --user true || fail "this machine refuses user namespaces; see sysctl user.max_user_namespaces"
tree=$root/build/qemu-static
(cd "$root" && scripts/debian-tree.sh "$(dpkg --print-architecture)" "$tree" qemu-user-static)

# The namespace maps all users, so that owners of files are what they are outside. Only a process
# outside may write that map. A process that ends early closes its side of the pipes, so that nobody
# waits for it.
meeting=$(mktemp -d)
mkfifo "$meeting/made" "$meeting/mapped"
# shellcheck disable=SC2016  # for the other shell
unshare --user --mount sh -c '
    echo >&3
    read -r _ <&4
    exec 3>&- 4<&- "$@"' sh "$script" --inside "$tree/usr/bin/qemu-arm-static" "$@" \
    <&0 3>"$meeting/made" 4<>"$meeting/mapped" &
pid=$!
trap '[ -z "$pid" ] || kill -KILL "$pid" 2>/dev/null || :; rm -rf "$meeting"' EXIT
trap 'exit 130' HUP INT TERM
read -r _ <"$meeting/made" || fail "the user namespace was not made"
echo '0 0 4294967295' >"/proc/$pid/uid_map"
echo '0 0 4294967295' >"/proc/$pid/gid_map"
echo 1<>"$meeting/mapped"
status=0
wait "$pid" || status=$?
pid=
exit "$status"
