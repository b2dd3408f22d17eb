# What the kernel shows of a camera that stalls, sends half a frame, is busy or goes away.
start_camera one
depth=$(node_of Z16)

# Nothing comes while it is stalled, and then the same stream goes on. Of what it sends first, half a
# frame or one that is marked as damaged, the kernel keeps nothing: there is a gap.
control one stall
ends_with 4 node_frames "$depth" Z16 --timeout 1000
for fault in cut damage; do
    node_frames "$depth" Z16 --count 10 --timeout 15000 >$fault.log &
    reader=$!
    eventually streams one depth
    control one $fault
    control one resume
    wait $reader || fail "$(cat $fault.log)"
    cat $fault.log
    expect_text 'damaged 0, missing [1-9]' $fault.log
    control one stall
done
control one resume

# One that another program streams from is busy; unplugged, it is gone for both.
node_frames "$depth" Z16 --count 100000 >stream.log &
reader=$!
eventually streams one depth
ends_with 5 node_frames "$depth" Z16 --count 1
control one unplug
ends_with 3 wait $reader
cat stream.log
expect_text 'VIDIOC_.*: No such device' stream.log

# It comes back as new.
control one plug
wait_for_nodes
node_frames "$(node_of Z16)" Z16 --count 5
