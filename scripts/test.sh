#!/bin/sh
# test.sh [CTEST OPTION...]    installs what is missing, builds everything and runs the tests.
set -eu
cd "$(dirname "$0")/.."

scripts/deps.sh build test abi examples bench docs
cmake --preset dev >/dev/null
cmake --build --preset dev
ctest --preset dev --parallel "$(nproc)" "$@"
