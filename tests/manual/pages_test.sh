#!/bin/sh
# pages_test.sh MAN FOLDER    formats every page of FOLDER; a warning is a failure. A page with an error
# shows first that errors are found.
set -eu
man=$1
folder=$2

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# Whether a page has warnings, which are then in the file `warnings`.
has_warnings() {
    MANWIDTH=80 MANROFFSEQ='' LC_ALL=C.UTF-8 "$man" --warnings -E UTF-8 -l -Tutf8 -Z "$1" \
        >"$scratch/page" 2>"$scratch/warnings" || echo "status $?" >>"$scratch/warnings"
    [ -s "$scratch/page" ] || echo "it is empty" >>"$scratch/warnings"
    [ -s "$scratch/warnings" ]
}

printf '.TH BAD 1\n.SH NAME\nbad \\- page\n.nosuchmacro\n' >"$scratch/bad"
has_warnings "$scratch/bad" || { echo "pages_test.sh: man does not warn here" >&2; exit 1; }

status=0
for page in "$folder"/*.1; do
    if has_warnings "$page"; then
        sed "s|^|$page: |" "$scratch/warnings" >&2
        status=1
    fi
done
exit $status
