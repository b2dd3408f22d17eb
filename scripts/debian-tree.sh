#!/bin/sh
# debian-tree.sh ARCH FOLDER PACKAGE,...    unpacks Debian packages of an architecture, with all that
# they need, into FOLDER. The machine's own packages stay as they are. It is made again only when the
# list of packages has changed. A copy is kept in the user's cache folder for other checkouts, until
# none has used it for 30 days.
set -eu
if [ $# -ne 3 ]; then
    sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" >&2
    exit 2
fi
arch=$1 tree=$2 packages=$3
keyring=/usr/share/keyrings/debian-archive-keyring.gpg

if [ "$(cat "$tree/packages" 2>/dev/null)" = "$packages" ]; then
    exit 0
fi
mkdir -p "$(dirname "$tree")"

as_root=
[ "$(id -u)" -eq 0 ] || as_root=sudo

cache=
[ -z "${HOME:-}" ] || cache=${XDG_CACHE_HOME:-$HOME/.cache}/nubrix/debian-trees
kept=$cache/$arch-$(echo "$packages" | sha256sum | cut -c -16)
if [ -n "$cache" ] && [ "$(cat "$kept/packages" 2>/dev/null)" = "$packages" ] && touch "$kept" 2>/dev/null; then
    $as_root rm -rf "$tree" "$tree.new"
    cp -a "$kept" "$tree.new"
    mv "$tree.new" "$tree"
    exit 0
fi

# The archive that this machine's own apt uses, without its updates (names with a dash). Apt knows an
# origin only after an update.
debian_sources() {
    apt-get indextargets --format "\$(ORIGIN) \$(CODENAME) \
deb [signed-by=$keyring] \$(REPO_URI) \$(CODENAME) \$(COMPONENT)" 'Created-By: Packages' |
        sed -n 's/^Debian [a-z]* *deb/deb/p' | sort -u
}
sources=$(debian_sources)
if [ -z "$sources" ]; then
    "$(dirname "$0")/apt-update.sh"
    sources=$(debian_sources)
fi
[ -n "$sources" ] || { echo "debian-tree.sh: apt knows no Debian archive" >&2; exit 1; }

echo "debian-tree.sh: making $tree"
$as_root rm -rf "$tree" "$tree.new"
# Nothing is run in it, so neither an emulator nor a whole system is needed.
echo "$sources" | $as_root mmdebstrap --quiet --mode=root --variant=extract --skip=check/qemu \
    --architectures="$arch" --include="$packages" "" "$tree.new" -
$as_root chown -R "$(id -u):$(id -g)" "$tree.new"

# The emulator would take these for the machine's own.
rm -rf "$tree.new/dev" "$tree.new/tmp" "$tree.new/var"
# A link to an absolute path would lead out of the tree.
find "$tree.new" -type l -lname '/*' | while read -r link; do
    target=$tree.new$(readlink "$link")
    ln -sfn "$(realpath -m -s --relative-to="$(dirname "$link")" "$target")" "$link"
done
echo "$packages" >"$tree.new/packages"
mv "$tree.new" "$tree"

# A home folder that cannot be written to keeps none. Complete under its name, or not at all.
if [ -n "$cache" ] && mkdir -p "$cache" 2>/dev/null && [ -w "$cache" ]; then
    find "$cache" -mindepth 1 -maxdepth 1 -mtime +30 -exec rm -rf {} + || :
    rm -rf "$kept" || :
    if ! cp -a "$tree" "$kept.$$" || ! mv "$kept.$$" "$kept"; then
        rm -rf "$kept.$$"
    fi
fi
