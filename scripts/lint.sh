#!/bin/sh
# lint.sh [BUILD]    fails when a file has a word that scripts/words.sh refuses, when a C++ file is not
# formatted by .clang-format, or when clang-tidy finds something in the library, the plug-ins or the
# tool. BUILD is a folder that is configured; without it what is missing is installed, and build/lint
# configured.
set -eu
cd "$(dirname "$0")/.."

build=${1:-build/lint}
if [ $# -eq 0 ]; then
    scripts/deps.sh build test bench lint
    cmake --preset lint >/dev/null
fi
scripts/words.sh
git ls-files -z '*.h' '*.cpp' | xargs -0 clang-format --dry-run -Werror
scripts/tidy.py "$build"
