#!/bin/sh
# vm.sh [--arch amd64|armhf] [--preset NAME] [--no-build] [--counted] [TEST...]    runs the tests in
# tests/vm/cases, or those of these names (patterns too), in a virtual machine with Debian's kernel, on
# the build of the preset (dev or armhf), which is brought up to date unless --no-build is given. With
# --counted the machine has one processor and its time is the number of instructions, 8 ns each:
# processor times then do not depend on the load of this machine. What they leave
# lies in build/vm/ARCH/results. NUBRIX_VM_SECONDS limits how long they may take. Tests that did not
# run are named; the status is 77 when that is for want of an emulator.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"

usage() {
    sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$root/scripts/vm.sh" >&2
    exit 2
}

arch=amd64 preset='' build=yes processors='-accel tcg,thread=multi -smp 2' only='' kernel_package='' emulator=''
while [ $# -gt 0 ]; do
    case $1 in
    --arch) [ $# -gt 1 ] || usage; arch=$2; shift 2 ;;
    --preset) [ $# -gt 1 ] || usage; preset=$2; shift 2 ;;
    --no-build) build=; shift ;;
    --counted) processors='-accel tcg,thread=single -icount shift=3,sleep=on -smp 1'; shift ;;
    -*) usage ;;
    *) only="$only $1"; shift ;;
    esac
done
case $arch in
amd64) kernel_package=linux-image-amd64 emulator=qemu-system-x86_64 : "${preset:=dev}" ;;
armhf) kernel_package=linux-image-armmp emulator=qemu-system-arm : "${preset:=armhf}" ;;
*) usage ;;
esac
set -f
# shellcheck disable=SC2086  # a list of patterns
set -- ${only:-*}
set +f
names=
for pattern in "$@"; do
    for file in tests/vm/cases/$pattern.sh; do
        [ -f "$file" ] || { echo "vm.sh: no such test: $pattern" >&2; exit 2; }
        names="$names $(basename "$file" .sh)"
    done
done

folder=$root/build/vm/$arch
tree=$folder/tree
results=$folder/results
mkdir -p "$folder"

packages=$kernel_package,busybox-static,kmod,udev,v4l-utils,libstdc++6,libspdlog1.10,libpng16-16
packages=$packages,libjpeg62-turbo,libudev1,libaravis-0.8-0,libasan8,libubsan1

# The modules that the machine needs to reach its root; all others it finds there.
make_initrd() {
    release=$(basename "$tree"/lib/modules/*)
    /sbin/depmod -b "$tree" "$release"
    staging=$(mktemp -d)
    (
        cd "$staging"
        mkdir -p bin dev proc sys "lib/modules/$release"
        cp "$tree/bin/busybox" bin/
        cp "$root/tests/vm/init" init
        chmod 755 init
        for module in virtio_pci 9pnet_virtio 9p overlay; do
            /sbin/modprobe -C /dev/null -d "$tree" -S "$release" --show-depends "$module"
        done | sed -n 's/^insmod //p' | sort -u | while read -r file; do
            install -D -m 644 "$file" "lib/${file#*/lib/}"
        done
        cp "$tree/lib/modules/$release"/modules.builtin* \
            "$tree/lib/modules/$release/modules.order" "lib/modules/$release/"
        /sbin/depmod -b . "$release"
        find . | cpio --quiet -o -H newc | gzip -1 >"$folder/initrd"
    )
    rm -rf "$staging"
}

run_qemu() {
    kernel_options="panic=-1 loglevel=1"
    case $arch in
    amd64) set -- -cpu max -m 1024 -append "console=ttyS0 $kernel_options mitigations=off tsc=reliable" ;;
    armhf) set -- -M virt,highmem=off -cpu cortex-a15 -m 768 \
        -append "console=ttyAMA0 $kernel_options" ;;
    esac
    # Emulated in any case: hardware help may be there and yet not work.
    # shellcheck disable=SC2086  # several options
    set -- "$@" $processors -nodefaults -display none -no-reboot -serial stdio \
        -kernel "$tree"/boot/vmlinuz-* -initrd "$folder/initrd"
    for share in "tree=$tree,ro" "project=$root,ro" "results=$results,rw"; do
        tag=${share%%=*}
        path=${share#*=}
        mode=readonly=on
        [ "${path##*,}" = ro ] || mode=readonly=off
        set -- "$@" -device "virtio-9p-pci,fsdev=$tag,mount_tag=$tag" -fsdev \
            "local,id=$tag,path=${path%,*},security_model=none,multidevs=remap,$mode"
    done
    timeout --foreground -k 10 "${NUBRIX_VM_SECONDS:-1500}" "$emulator" "$@" </dev/null
}

# name_unrun WHY: the tests that have no verdict.
name_unrun() {
    for name in $names; do
        grep -qs " $name " "$results/verdicts" || echo "not run $name ($1)"
    done
}

mkdir -p "$results"
rm -f "$results/status" "$results/verdicts" "$results"/*.log
if ! scripts/deps.sh build test vm || ! command -v "$emulator" >/dev/null; then
    name_unrun "no $emulator"
    exit 77
fi
scripts/debian-tree.sh "$arch" "$tree" "$packages"
make_initrd
if [ -n "$build" ]; then
    [ "$arch" != armhf ] || scripts/armhf-sysroot.sh
    cmake --preset "$preset" -DNUBRIX_BUILD_TESTS=ON >/dev/null
    cmake --build --preset "$preset" --target vm_programs
fi

cat >"$results/job" <<END
project='$root'
build='$root/build/$preset'
only='${only:-*}'
limit=${NUBRIX_VM_TEST_SECONDS:-300}
END
status=0
run_qemu || status=$?
if [ ! -s "$results/status" ]; then
    name_unrun "the machine ended before"
    echo "vm.sh: the machine ended without a result (qemu: $status)" >&2
    exit 1
fi
exit "$(cat "$results/status")"
