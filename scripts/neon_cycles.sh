#!/bin/sh
# neon_cycles.sh    compares the inner loops of the NEON kernels with those of other libraries for
# 32-bit ARM, on models of processors, and writes docs/neon.md. Installs what it needs.
set -eu
cd "$(dirname "$0")/.."
folder=build/neon

scripts/deps.sh build test armhf mca
scripts/armhf-sysroot.sh
cmake --preset armhf >/dev/null
cmake --build build/armhf --target nubrix_image nubrix_cloud nubrix_checksum
mkdir -p $folder/objects
for each in image cloud checksum; do
    ln -sfn "$PWD/build/armhf/src/CMakeFiles/nubrix_$each.dir/$each" $folder/objects/$each
done

scripts/debian-tree.sh armhf $folder/peers libyuv0,libopencv-imgproc406,libopencv-core406,libdeflate0

# Debian's libyuv for 32-bit ARM has no NEON; its source, from the archive that apt uses, has.
if [ ! -e $folder/libyuv/rotate_neon.o ]; then
    rm -rf $folder/source
    mkdir -p $folder/source/lists/partial $folder/source/cache/archives/partial $folder/libyuv
    scripts/debian-sources.sh | sed 's/^deb /deb-src /' >$folder/source/sources.list
    apt_source() {
        apt-get -qq -o "Dir::Etc::SourceList=$PWD/sources.list" -o Dir::Etc::SourceParts=/nonexistent \
            -o "Dir::State::Lists=$PWD/lists" -o "Dir::Cache=$PWD/cache" -o APT::Sandbox::User= "$@"
    }
    (cd $folder/source && apt_source update && apt_source source --download-only libyuv &&
        tar xf libyuv_*.orig.tar.gz --strip-components=1)
    for each in row_neon rotate_neon; do
        arm-linux-gnueabihf-g++ -O2 -mfpu=neon -I$folder/source/include -c $folder/source/source/$each.cc \
            -o $folder/libyuv/$each.o
    done
fi

scripts/neon_cycles.py $folder/objects $folder/libyuv $folder/peers/usr/lib/arm-linux-gnueabihf \
    >docs/neon.md.new
mv docs/neon.md.new docs/neon.md
