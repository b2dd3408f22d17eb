#!/bin/sh
# package-check.sh ARCH --quick|--check    installs the packages in build/packages/ARCH in a clean system
# without systemd and runs the tool there. With --check they are also removed, purged and upgraded, and
# programs are built with them; what is on the disk is compared. scripts/package.sh runs this.
set -eu
export LC_ALL=C
cd "$(dirname "$0")/.."
arch=$1 extent=$2
packages=$PWD/build/packages/$arch
root=$packages/root
version=$(sed -n '1s/.*(\(.*\)).*/\1/p' debian/changelog)

fail() { echo "package-check.sh: $*" >&2; exit 1; }

in_root() { scripts/in-root.sh "$root" --share "$packages:/packages" --share "$PWD:/source" "$@"; }

# Only what fails is worth reading.
apt() {
    in_root apt-get -q -y --no-install-recommends "$@" >"$packages/apt.log" 2>&1 ||
        { cat "$packages/apt.log" >&2; fail "apt-get $*"; }
}

names_of() { ls "$1" | sed -n 's/_.*\.deb$//p'; }

# What is on the disk, without what apt and dpkg keep for themselves.
paths() {
    (cd "$root" && find . \( -path ./proc -o -path ./dev -o -path ./var/cache -o -path ./var/log \
        -o -path ./var/lib/apt -o -path './var/lib/dpkg/*-old' \) -prune -o -print) | sort
}

# same WHAT EXPECTED: the disk is as it was when EXPECTED was listed.
same() {
    paths >"$packages/paths"
    diff "$2" "$packages/paths" || fail "$1: the files differ"
}

run_test() { in_root sh -c 'cd /source && debian/tests/"$1"' sh "$1"; }

install_packages() {
    # shellcheck disable=SC2046
    apt install $(cd "$packages" && ls ./*.deb | sed 's,^\.,/packages,')
    in_root dpkg --verify >"$packages/verify"
    [ ! -s "$packages/verify" ] || { cat "$packages/verify"; fail "installed files differ from the packages"; }
}

# What these packages contain and no others do, with what dpkg notes on each of them.
paths_of_packages() {
    for deb in "$packages"/*.deb; do
        dpkg-deb --fsys-tarfile "$deb" | tar -t | sed 's,/$,,'
    done | sort -u >"$packages/paths.contained"
    sed 's,^/\.$,,; s,^,.,' "$root"/var/lib/dpkg/info/*.list | sort -u >"$packages/paths.others"
    for name in $(names_of "$packages"); do
        grep "^\./var/lib/dpkg/info/${name}[.:]" "$packages/paths.installed"
    done | sort >"$packages/paths.notes"
    comm -23 "$packages/paths.contained" "$packages/paths.others" | sort - "$packages/paths.notes"
}

remove_packages() {
    # shellcheck disable=SC2046
    apt remove $(names_of "$packages")
    paths_of_packages >"$packages/paths.removed"
    comm -23 "$packages/paths.installed" "$packages/paths.removed" >"$packages/paths.left"
    same "after removal" "$packages/paths.left"
    ! in_root sh -c 'command -v nubrix' || fail "nubrix is still there"
    # shellcheck disable=SC2046
    in_root dpkg --purge $(names_of "$packages")
    apt autoremove --purge
}

# The same packages with a lower version; the file of the library has another name, as always.
make_version_before() {
    before=$packages/before
    rm -rf "$before"
    mkdir "$before"
    for deb in "$packages"/*.deb; do
        dpkg-deb -R "$deb" "$before/tree"
        sed -i "s/$version/$version~before/g" "$before/tree/DEBIAN/control"
        rm "$before/tree/DEBIAN/md5sums"
        library=$(find "$before/tree" -name "libNubrix.so.$version")
        if [ -n "$library" ]; then
            mv "$library" "$library.before"
            ln -sfn "libNubrix.so.$version.before" "${library%/*}/libNubrix.so.${version%%.*}"
        fi
        dpkg-deb -Znone --root-owner-group -b "$before/tree" "$before" >/dev/null
        rm -r "$before/tree"
    done
}

upgrade_packages() {
    make_version_before
    # shellcheck disable=SC2046
    apt install $(cd "$packages" && ls ./before/*.deb | sed 's,^\.,/packages,')
    [ "$(in_root dpkg-query -W -f '${Version}' nubrix-tools)" = "$version~before" ] ||
        fail "the version before is not installed"
    in_root nubrix --virtual list
    install_packages
}

system=$(scripts/debian-root.sh clean "$arch")
rm -rf "$root"
cp -a "$system" "$root"
apt update
apt autoremove --purge
paths >"$packages/paths.before"

install_packages
paths >"$packages/paths.installed"
run_test camera
if [ "$extent" = --check ]; then
    same "after use" "$packages/paths.installed"
    remove_packages
    same "after purge" "$packages/paths.before"
    upgrade_packages
    same "after an upgrade" "$packages/paths.installed"
    apt install cmake g++ make pkg-config
    run_test programs
fi
rm -rf "$root" "$packages"/paths* "$packages/verify" "$packages/apt.log" "$packages/before"
