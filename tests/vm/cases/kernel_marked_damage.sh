# With its parameter set to keep them, the kernel delivers short and damaged frames with a mark.
# The kernel asks for it when the camera comes.
echo 1 >/sys/module/uvcvideo/parameters/nodrop
trap 'echo 0 >/sys/module/uvcvideo/parameters/nodrop; end_cameras' EXIT
start_camera one
depth=$(node_of Z16)
for fault in cut damage; do
    control one stall
    node_frames "$depth" Z16 --count 10 --timeout 15000 >$fault.log &
    reader=$!
    eventually streams one depth
    control one $fault
    control one resume
    wait $reader || fail "$(cat $fault.log)"
    cat $fault.log
    expect_text 'damaged 1,' $fault.log
done
