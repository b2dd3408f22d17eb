# A camera from which another program streams is refused with a line that names the cause, until it is free.
start_camera one
node_frames "$(node_of Z16)" Z16 --count 100000 >other.log &
other=$!
eventually streams one depth
ends_with 1 nubrix stream --streams depth --frames 2 >refused 2>&1
expect_text 'usb:1-1 depth.* is busy: end the other program' refused
nubrix stream --streams color --frames 2
kill $other
wait $other || :
nubrix stream --streams depth --frames 2
