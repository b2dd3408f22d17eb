# Two cameras of the same kind differ by their serial numbers and stream side by side.
start_camera one --serial LEFT01
start_camera two --serial RIGHT02 --port 1
left=$(node_of Z16 LEFT01)
right=$(node_of Z16 RIGHT02)
[ "$left" != "$right" ] || fail "both are $left"
node_frames "$left" Z16 --count 30 >left.log &
reader=$!
node_frames "$right" Z16 --count 30
wait $reader || fail "$(cat left.log)"
control two unplug
eventually node_count 3
node_frames "$left" Z16 --count 5
control two plug
wait_for_nodes
