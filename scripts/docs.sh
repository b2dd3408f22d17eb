#!/bin/sh
# docs.sh [OUTDIR]    writes the reference as HTML into OUTDIR (build/docs): every public name of
# include/nubrix, the Markdown documents as its pages, and the programs of examples/. A warning is an
# error: a name without a comment, a link that leads nowhere. Doxygen is installed if it is missing. The
# same sources give the same bytes.
set -eu
export LC_ALL=C.UTF-8
out=$(realpath -m "${1:-$(dirname "$0")/../build/docs}")
cd "$(dirname "$0")/.."

command -v doxygen >/dev/null || scripts/deps.sh docs
if [ -e "$out" ] && [ ! -e "$out/doxygen.css" ] && [ -n "$(ls -A "$out")" ]; then
    echo "docs.sh: $out has other files; name another folder" >&2
    exit 1
fi
rm -rf "$out"
mkdir -p "$out"

pages=$(scripts/pages.py)
version=$(sed -n 's/^#define NUBRIX_VERSION_.* //p' include/nubrix/version.h | paste -sd.)
{
    cat docs/reference/Doxyfile
    echo "PROJECT_NUMBER = $version"
    echo "OUTPUT_DIRECTORY = \"$out\""
    echo "$pages" | sed 's/.*/INPUT += "&"/'
    [ ! -d examples ] || printf '%s\n' "EXAMPLE_PATH = examples" "EXAMPLE_RECURSIVE = YES"
    # Light or dark as the reader's system is, where Doxygen can.
    if [ "$(printf '%s\n' 1.9.5 "$(doxygen --version | cut -d ' ' -f 1)" | sort -V | head -n 1)" = 1.9.5 ]; then
        echo "HTML_COLORSTYLE = AUTO_LIGHT"
    fi
} | doxygen -
