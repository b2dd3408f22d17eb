# Two cameras of the same kind stream side by side, one of them on isochronous endpoints; what happens
# to one is nothing to the other.
start_camera one --serial LEFT01
start_camera two --serial RIGHT02 --port 1 --isochronous
library_frames depth ir --width 320 --height 240 --uri usb:1-1 --uri usb:1-2 --count 15
library_frames depth --uri usb:1-1 --count 40 >stream.log 2>&1 &
reader=$!
eventually streams one depth
control two unplug
wait $reader || fail "$(cat stream.log)"
