# The words in which the tests are written. Every test starts without a camera and ends so.

camera=$build/bin/vm/software_camera
PATH=$build/bin:$build/bin/vm:$PATH
export ASAN_OPTIONS=detect_leaks=1:exitcode=99
cameras=

fail() {
    echo "    $*" >&2
    exit 1
}

# uptime_s: whole seconds since the machine started.
uptime_s() {
    cut -d. -f1 /proc/uptime
}

# eventually COMMAND...: waits until it succeeds, 20 s at most.
eventually() {
    deadline=$(($(uptime_s) + 20))
    until "$@"; do
        [ "$(uptime_s)" -lt $deadline ] || fail "not in 20 s: $*"
        sleep 0.1
    done
}

# start_camera NAME [OPTION...]: a camera is plugged in, and udev has seen all of its nodes.
start_camera() {
    "$camera" run "$@" &
    cameras="$cameras $1"
    eventually [ -S "/run/camera-$1" ]
    wait_for_nodes
}

# control NAME COMMAND: the camera has done it when this returns.
control() {
    "$camera" control "$1" "$2" >/dev/null || fail "camera $1 did not $2"
}

# streams NAME STREAM: the host has started this stream of the camera.
streams() {
    "$camera" control "$1" state | grep -q " $2"
}

# capture_nodes [SERIAL]: the nodes that deliver frames according to udev, in the order of their
# numbers; all, or those of the camera with the serial number.
capture_nodes() {
    for place in $(ls -d /sys/class/video4linux/video* 2>/dev/null | sort -V); do
        grep -qs '^E:ID_V4L_CAPABILITIES=.*:capture:' "/run/udev/data/c$(cat "$place/dev")" ||
            continue
        [ -z "${1:-}" ] || [ "$(cat "$place/device/../serial")" = "$1" ] || continue
        echo "/dev/${place##*/}"
    done
}

node_count() {
    [ "$(capture_nodes | wc -l)" -eq "$1" ]
}

# wait_for_nodes: each running camera has its three nodes.
wait_for_nodes() {
    eventually node_count $((3 * $(echo $cameras | wc -w)))
    udevadm settle --timeout=20
}

has_format() {
    v4l2-ctl -d "$1" --list-formats | grep -q "'$2 *'"
}

# node_of FORMAT [SERIAL]: the first node that delivers it.
node_of() {
    for node in $(capture_nodes "${2:-}"); do
        if has_format "$node" "$1"; then
            echo "$node"
            return
        fi
    done
    fail "no node delivers $1"
}

# vivid_node: the capture node of the kernel's test driver.
vivid_node() {
    for node in $(capture_nodes); do
        v4l2-ctl -d "$node" --info | grep -q 'Card type *: vivid' && echo "$node" && return
    done
    return 1
}

# ends_with STATUS COMMAND...: runs it and wants that exit status.
ends_with() {
    wanted=$1
    shift
    status=0
    "$@" || status=$?
    [ $status -eq "$wanted" ] || fail "status $status, expected $wanted: $*"
}

# expect_text TEXT FILE
expect_text() {
    grep -q -e "$1" "$2" || { cat "$2" >&2; fail "no '$1' in $(basename "$2")"; }
}

end_cameras() {
    for each in $cameras; do
        "$camera" control "$each" quit >/dev/null 2>&1 || :
    done
    cameras=
    modprobe -r -q vivid || :
    # The next test finds the machine as this one did.
    eventually node_count 0
}
trap 'end_cameras' EXIT
