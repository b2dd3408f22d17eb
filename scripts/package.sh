#!/bin/sh
# package.sh [ARCH] [--quick | --check]    makes the Debian packages for ARCH (amd64, or armhf with the
# cross compiler) in build/packages/ARCH; those with debug symbols lie in the folder debug there.
# docs/packages.md describes them.
#   --quick   also checks them with lintian, installs them in a clean system and runs the tool there
#   --check   checks everything that must hold before a release; half an hour, more for armhf
set -eu
script=$(realpath "$0")
cd "$(dirname "$script")/.."

usage() {
    sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$script" >&2
    exit 2
}

native=$(dpkg --print-architecture)
arch=$native check=
for word in "$@"; do
    case $word in
    amd64 | armhf) arch=$word ;;
    --quick | --check) check=$word ;;
    *) usage ;;
    esac
done
packages=$PWD/build/packages/$arch
ccache=${CCACHE_DIR:-${HOME:-$PWD/build}/.cache/ccache}
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "package.sh: please run it as root, or install sudo" >&2; exit 1; }
    # Root would make these folders its own.
    mkdir -p "$packages" "$ccache" ${HOME:+"${XDG_CACHE_HOME:-$HOME/.cache}/nubrix/debian-trees"}
    sudo --preserve-env=HOME,XDG_CACHE_HOME,CCACHE_DIR "$script" "$@"
    exit
fi

# Nothing that root has made remains its own in a checkout or a cache of another user.
return_to_owner() {
    chown -R --reference=. build/packages
    [ ! -e build/qemu-static ] || chown -R --reference=. build/qemu-static
    chown -R --reference="$ccache" "$ccache"
}

# The sources are what git tracks; without git, all files are.
copy_sources() {
    if [ -e .git ]; then
        # The checkout may be another user's.
        git -c safe.directory="$PWD" ls-files -z | tar -c --null --files-from=-
    else
        tar -c --exclude=./build .
    fi | tar -x -C "$1"
}

step() {
    echo "== $1"
    began=$(date +%s)
    shift
    "$@"
    echo "== done in $(($(date +%s) - began)) s"
}

# build FOLDER PLACE [NAME=VALUE...]: builds a copy of the sources in FOLDER, which is at PLACE for the
# compiler.
build() {
    folder=$1 place=$2
    shift 2
    rm -rf "$folder"
    mkdir -p "$folder/nubrix"
    copy_sources "$folder/nubrix"
    # The reference, which is the same for all, comes with this machine's own packages.
    options=-b
    [ "$arch" = "$native" ] || options="-B -a$arch -Pcross,nocheck"
    # shellcheck disable=SC2086,SC2016
    scripts/in-root.sh "$root" --share "$folder:$place" --share "$ccache:/ccache" \
        env CCACHE_DIR=/ccache "$@" sh -c 'cd "$1/nubrix"; shift; exec "$@"' sh "$place" \
        dpkg-buildpackage -us -uc "-j$(nproc)" $options >"$folder/log" 2>&1 ||
        { tail -n 50 "$folder/log" >&2; return 1; }
}

make_packages() {
    build "$packages/build" /build
    rm -rf "$packages"/*.deb "$packages/debug"
    mkdir "$packages/debug"
    mv "$packages"/build/*-dbgsym_*.deb "$packages/debug"
    mv "$packages"/build/*.deb "$packages"
}

run_lintian() {
    scripts/in-root.sh "$root" --share "$packages:/packages" \
        sh -c 'lintian --allow-root --fail-on error,warning /packages/*.deb /packages/debug/*.deb'
}

# Debian's hardening in each program and library: position independent, stack protected, functions of
# libc checked, relocations read-only, bound at the start.
check_hardening() {
    unpacked=$packages/unpacked
    rm -rf "$unpacked"
    for deb in "$packages"/*.deb; do
        dpkg-deb -x "$deb" "$unpacked"
    done
    # shellcheck disable=SC2016
    scripts/in-root.sh "$root" --share "$unpacked:/packages" sh -c '
        cd /packages
        find . -type f \( -path "./usr/bin/*" -o -name "*.so*" \) | while read -r file; do
            [ "$(head -c 4 "$file" | tail -c 3)" != ELF ] || echo "$file"
        done | sort | xargs hardening-check --quiet --nocfprotection'
    rm -rf "$unpacked"
}

# Elsewhere, at another time of the day, in another language, and compiled once more.
check_reproducible() {
    build "$packages/again" /some/other/place CCACHE_DISABLE=1 TZ=Asia/Kathmandu LC_ALL=tr_TR.UTF-8
    for deb in "$packages"/*.deb "$packages"/debug/*.deb; do
        cmp "$deb" "$packages/again/$(basename "$deb")"
    done
    rm -rf "$packages/again"
}

check_installed() {
    set -- scripts/package-check.sh "$arch" "$@"
    [ "$arch" = "$native" ] || set -- scripts/arm-namespace.sh "$@"
    "$@"
}

mkdir -p "$packages" "$ccache"
trap return_to_owner EXIT
trap 'exit 130' HUP INT TERM
scripts/deps.sh package
# Where nothing can be checked, that is known before all is built.
[ -z "$check" ] || [ "$arch" = "$native" ] || scripts/arm-namespace.sh true
root=$(scripts/debian-root.sh build "$arch")
step "packages for $arch" make_packages
if [ -n "$check" ]; then
    step "lintian" run_lintian
    step "in a clean system" check_installed "$check"
fi
if [ "$check" = --check ]; then
    step "hardening" check_hardening
    step "the same bytes elsewhere" check_reproducible
fi
rm -rf "$packages/build"
ls -l "$packages"/*.deb
