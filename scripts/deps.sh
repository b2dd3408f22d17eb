#!/bin/sh
# deps.sh GROUP...    installs the Debian packages of the groups, and only what is missing.
#   build    compiler and its cache, CMake and the libraries of the plug-ins and the tool
#   test     what the tests need in addition
#   abi      the comparison of binary interfaces, scripts/abi.sh
#   examples libraries that examples show, and a screen for what they show
#   bench    the benchmarks
#   peers    libraries that benchmarks compare with
#   armhf    cross compiler and emulator for 32-bit ARM
#   mca      models of processors, for scripts/neon_cycles.sh
#   lint     clang, clang-format and clang-tidy
#   docs     the reference, for scripts/docs.sh
#   fuzz     clang and libFuzzer
#   vm       virtual machines with Debian's kernel, for scripts/vm.sh
#   package  the systems in which scripts/package.sh builds and checks the Debian packages
set -eu

packages_of() {
    case $1 in
    build) echo g++ cmake ninja-build ccache pkg-config libspdlog-dev libpng-dev libjpeg62-turbo-dev \
        nlohmann-json3-dev libcli11-dev libudev-dev libaravis-dev \
        libusb-1.0-0-dev ;;
    test) echo libgtest-dev libgmock-dev libumockdev-dev umockdev locales python3 python3-pil \
        python3-meshio python3-jsonschema man-db iproute2 aravis-tools-cli ;;
    abi) echo abigail-tools xz-utils ;;
    examples) echo libopencv-highgui-dev xvfb python3-xlib ;;
    bench) echo libbenchmark-dev ;;
    peers) echo libdeflate-dev libisal-dev libssl-dev libyuv-dev libopencv-core-dev libopencv-imgproc-dev ;;
    armhf) echo g++-arm-linux-gnueabihf qemu-user mmdebstrap ;;
    mca) echo llvm ;;
    lint) echo clang clang-format clang-tidy ;;
    docs) echo doxygen python3 ;;
    fuzz) echo clang libclang-rt-14-dev ;;
    vm) echo qemu-system-x86 qemu-system-arm mmdebstrap cpio kmod ;;
    package) echo mmdebstrap ;;
    *) return 1 ;;
    esac
}

if [ $# -eq 0 ]; then
    sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" >&2
    exit 2
fi

missing=
for group in "$@"; do
    packages=$(packages_of "$group") || { echo "deps.sh: no such group: $group" >&2; exit 2; }
    for package in $packages; do
        case $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) in
        installed) ;;
        *) missing="$missing $package" ;;
        esac
    done
done
[ -n "$missing" ] || exit 0

as_root=
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "deps.sh: as root, please install$missing" >&2; exit 1; }
    as_root=sudo
fi
echo "deps.sh: installing$missing"
"$(dirname "$0")/apt-update.sh"
# Another apt that is installing something is waited for. Missing is a list of words.
# shellcheck disable=SC2086
$as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends -o DPkg::Lock::Timeout=300 $missing >/dev/null
