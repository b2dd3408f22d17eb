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

sources=$("$(dirname "$0")/debian-sources.sh")
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
