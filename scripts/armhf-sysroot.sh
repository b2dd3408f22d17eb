#!/bin/sh
# armhf-sysroot.sh    makes build/armhf-sysroot: the 32-bit ARM libraries that the preset armhf links
# and runs with, unpacked from Debian packages.
set -eu
cd "$(dirname "$0")/.."

packages=libc6-dev,libstdc++-12-dev,libgcc-12-dev,libspdlog-dev,libpng-dev,libjpeg62-turbo-dev
packages=$packages,nlohmann-json3-dev,libcli11-dev,libgtest-dev,libgmock-dev,libudev-dev
packages=$packages,libaravis-dev,libusb-1.0-0-dev

scripts/deps.sh armhf
scripts/debian-tree.sh armhf build/armhf-sysroot "$packages"
