# Plugging in and unplugging reach udev as one event a node.
start_camera one
udevadm monitor --udev --subsystem-match=video4linux >events &
monitor=$!
eventually grep -q '^UDEV - the event' events

events_of() {
    [ "$(grep -c "^UDEV .* $1 .*/video4linux/" events)" -eq "$2" ]
}

control one unplug
eventually events_of remove 6
node_count 0 || fail "nodes are left"
control one plug
eventually events_of add 6
wait_for_nodes
control one restart
eventually events_of add 12
eventually events_of remove 12
wait_for_nodes
kill $monitor
node_frames "$(node_of Z16)" Z16 --count 5
