#!/bin/sh
# debian-root.sh build|clean ARCH    prints the folder of a Debian system, which is made if there is none:
# `build` has what building and checking the packages for ARCH needs, `clean` is the smallest system of
# ARCH (for armhf, run this in scripts/arm-namespace.sh). The system is kept in the user's cache folder for
# all checkouts, so it must not be changed: enter a `build` with in-root.sh, copy a `clean`. Needs root.
set -eu
cd "$(dirname "$0")/.."
if [ $# -ne 2 ]; then
    sed -n '2,/^[^#]/s/^# \{0,1\}//p' "scripts/debian-root.sh" >&2
    exit 2
fi
kind=$1 arch=$2
native=$(dpkg --print-architecture)

cache=$PWD/build
[ -z "${HOME:-}" ] || cache=${XDG_CACHE_HOME:-$HOME/.cache}/nubrix
# Made again when what it is made from has changed.
needs=scripts/debian-root.sh
[ "$kind" = clean ] || needs="$needs debian/control"
# shellcheck disable=SC2086  # a list of files
kept=$cache/debian-trees/$kind-$arch-$(sed '/^Package:/,$d' $needs | sha256sum | cut -c -16)
if [ -d "$kept" ]; then
    touch "$kept"
    echo "$kept"
    exit 0
fi
mkdir -p "$cache/debian-trees"
new=$(mktemp -d "$kept.XXXXXX")
chmod 755 "$new"
trap 'rm -rf "$new"' EXIT
trap 'exit 130' HUP INT TERM
echo "debian-root.sh: making $kept" >&2

bootstrap() { scripts/debian-sources.sh | mmdebstrap --quiet --mode=root "$@" "" "$new" - >&2; }

# The tools that look at the packages are not needed to build them. A language other than English is.
make_build_root() {
    architectures=$native tools=ccache,devscripts,lintian,locales
    wanted="apt-get build-dep -qq -y --no-install-recommends -a $arch"
    if [ "$arch" != "$native" ]; then
        architectures=$native,$arch tools=$tools,crossbuild-essential-$arch
        wanted="$wanted --arch-only -P cross,nocheck"
    fi
    # shellcheck disable=SC2016  # for mmdebstrap
    bootstrap --variant=buildd --architectures="$architectures" \
        --include="$tools" \
        --customize-hook='chroot "$1" localedef -i tr_TR -f UTF-8 tr_TR.UTF-8' \
        --customize-hook='mkdir -p "$1/tmp/nubrix/debian"' \
        --customize-hook='cp debian/control debian/changelog "$1/tmp/nubrix/debian/"' \
        --customize-hook="chroot \"\$1\" sh -c 'cd /tmp/nubrix && $wanted ./ >/dev/null'" \
        --customize-hook='rm -r "$1/tmp/nubrix"'
}

case $kind in
build) make_build_root ;;
clean) bootstrap --variant=minbase --architectures="$arch" --skip=check/qemu,chroot/mount/sys ;;
*) echo "debian-root.sh: no such kind: $kind" >&2; exit 2 ;;
esac
# Another run may have made the same one in the meantime: then that one is taken.
mv -T "$new" "$kept" || [ -d "$kept" ]
echo "$kept"
