#!/bin/sh
# lint.sh    fails when a C++ file is not formatted as .clang-format says, or when clang-tidy finds
# something in the library, the plug-ins or the tool.
set -eu
cd "$(dirname "$0")/.."
root=$(pwd)

scripts/deps.sh build test bench lint
git ls-files -z '*.h' '*.cpp' | xargs -0 clang-format --dry-run -Werror
cmake --preset lint >/dev/null
if ! run-clang-tidy -quiet -j "$(nproc)" -p build/lint "^$root/(src|drivers|tools)/.*\.cpp\$" \
    >build/lint/clang-tidy.log 2>&1; then
    grep -v -e '^clang-tidy' -e 'warnings generated' build/lint/clang-tidy.log >&2
    exit 1
fi
