#!/bin/sh
# in-root.sh ROOT [--share FOLDER:PLACE]... COMMAND...    runs a command as root of the Debian system in
# the folder ROOT, with folders of this machine shared at places in it. The command has processes,
# devices and a /tmp of its own, and the network of this machine. Needs root.
set -eu
if [ "${1:-}" != --mounted ]; then
    [ $# -ge 2 ] || { sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" >&2; exit 2; }
    exec unshare --mount --pid --fork --kill-child "$0" --mounted "$@"
fi
root=$2
shift 2

# Nothing that is mounted here is seen outside, and all of it ends with the command.
mount --make-rprivate /
mount -t proc proc "$root/proc"
mount -t tmpfs -o mode=755 devices "$root/dev"
for device in null zero full random urandom tty; do
    : >"$root/dev/$device"
    mount --bind "/dev/$device" "$root/dev/$device"
done
mount -t tmpfs -o mode=1777 tmp "$root/tmp"
mkdir -m 1777 "$root/dev/shm"
mkdir "$root/dev/pts"
mount -t devpts -o newinstance,ptmxmode=666 devpts "$root/dev/pts"
ln -s pts/ptmx "$root/dev/ptmx"
ln -s /proc/self/fd "$root/dev/fd"
for name in hosts resolv.conf; do
    [ -e "$root/etc/$name" ] || : >"$root/etc/$name"
    mount --bind "/etc/$name" "$root/etc/$name"
done
while [ "${1:-}" = --share ]; do
    mkdir -p "$root${2#*:}"
    mount --bind "${2%%:*}" "$root${2#*:}"
    shift 2
done

exec chroot "$root" env -i HOME=/root PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
    DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 "$@"
