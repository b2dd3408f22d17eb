# The tool ends its stream when the camera goes away, and says so; another one finds it back.
start_camera one
nubrix stream --streams depth >stream.log 2>&1 &
reader=$!
eventually streams one depth
tell one unplug
ends_with 1 wait $reader
expect_text 'usb:1-1 depth is gone' stream.log
tell one plug
wait_for_nodes
nubrix stream --streams depth --frames 2
