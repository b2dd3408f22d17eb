#!/bin/sh
# package_version.sh DEBIAN VERSION    fails unless the newest entry of DEBIAN/changelog has the version of
# the library, and the package of the library the name that its SONAME demands.
set -eu
debian=$1 version=$2
fail() { echo "package_version.sh: $*" >&2; exit 1; }

entry=$(head -n 1 "$debian/changelog")
case $entry in
"nubrix ($version) "*) ;;
*) fail "debian/changelog begins with '$entry', but the library is of version $version" ;;
esac
major=${version%%.*}
grep -qx "Package: libnubrix$major" "$debian/control" || fail "debian/control has no package libnubrix$major"
grep -qx "usr/lib/\*/libNubrix.so.$major\*" "$debian/libnubrix$major.install" ||
    fail "libnubrix$major does not contain libNubrix.so.$major"
