#!/bin/sh
# lint.sh    fails when a C++ file is not formatted as .clang-format says, or when clang-tidy finds
# something in the library, the plug-ins or the tool.
set -eu
cd "$(dirname "$0")/.."
root=$(pwd)

scripts/deps.sh build test bench lint
git ls-files -z '*.h' '*.cpp' | xargs -0 clang-format --dry-run -Werror
cmake --preset lint >/dev/null
run-clang-tidy -quiet -j "$(nproc)" -p build/lint "^$root/(src|drivers|tools)/.*\.cpp\$"
