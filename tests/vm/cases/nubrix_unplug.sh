# The tool ends its stream when the camera is detached, and reports it; another one finds it again.
start_camera one
nubrix stream --streams depth >stream.log 2>&1 &
reader=$!
eventually streams one depth
control one unplug
ends_with 1 wait $reader
expect_text 'usb:1-1 depth is gone' stream.log
control one plug
wait_for_nodes
nubrix stream --streams depth --frames 2
