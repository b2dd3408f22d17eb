#!/bin/sh
# debian-sources.sh    prints the Debian archive that this machine's own apt uses, without its updates
# (names with a dash), as lines of a sources.list. Apt knows an origin only after an update.
set -eu
keyring=/usr/share/keyrings/debian-archive-keyring.gpg

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
[ -n "$sources" ] || { echo "debian-sources.sh: apt knows no Debian archive" >&2; exit 1; }
echo "$sources"
