# A camera whose endpoints are isochronous streams the same frames.
start_camera one --isochronous
node_frames "$(node_of Z16)" Z16 --width 320 --height 240 --count 20
node_frames "$(node_of YUYV)" YUYV --width 320 --height 240 --count 20
