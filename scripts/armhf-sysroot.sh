#!/bin/sh
# armhf-sysroot.sh    makes build/armhf-sysroot: the 32-bit ARM libraries that the preset armhf links
# and runs with, unpacked from Debian packages. The machine's own packages stay as they are. It is
# made anew only when the list of packages below has changed.
set -eu
cd "$(dirname "$0")/.."

packages=libc6-dev,libstdc++-12-dev,libgcc-12-dev,libspdlog-dev,libpng-dev,libjpeg62-turbo-dev
packages=$packages,nlohmann-json3-dev,libcli11-dev,libgtest-dev,libgmock-dev
sysroot=build/armhf-sysroot
keyring=/usr/share/keyrings/debian-archive-keyring.gpg

if [ "$(cat $sysroot/packages 2>/dev/null)" = "$packages" ]; then
    exit 0
fi
scripts/deps.sh armhf
as_root=
[ "$(id -u)" -eq 0 ] || as_root=sudo

# The archive that this machine's own apt uses, without its updates (names with a dash). Apt knows an
# origin only after an update.
debian_sources() {
    apt-get indextargets --format "\$(ORIGIN) \$(CODENAME) \
deb [signed-by=$keyring] \$(REPO_URI) \$(CODENAME) \$(COMPONENT)" 'Created-By: Packages' |
        sed -n 's/^Debian [a-z]* *deb/deb/p' | sort -u
}
sources=$(debian_sources)
if [ -z "$sources" ]; then
    $as_root apt-get update -qq
    sources=$(debian_sources)
fi
[ -n "$sources" ] || { echo "armhf-sysroot.sh: apt knows no Debian archive" >&2; exit 1; }

echo "armhf-sysroot.sh: making $sysroot"
mkdir -p build
$as_root rm -rf "$sysroot" "$sysroot.new"
# Nothing is run in it, so neither an emulator nor a whole system is needed.
echo "$sources" | $as_root mmdebstrap --quiet --mode=root --variant=extract --skip=check/qemu \
    --architectures=armhf --include="$packages" "" "$sysroot.new" -
$as_root chown -R "$(id -u):$(id -g)" "$sysroot.new"

# The emulator would take these for the machine's own.
rm -rf "$sysroot.new/dev" "$sysroot.new/tmp" "$sysroot.new/var"
# A link to an absolute path would lead out of the sysroot.
find "$sysroot.new" -type l -lname '/*' | while read -r link; do
    target=$sysroot.new$(readlink "$link")
    ln -sfn "$(realpath -m -s --relative-to="$(dirname "$link")" "$target")" "$link"
done
echo "$packages" >"$sysroot.new/packages"
mv "$sysroot.new" "$sysroot"
