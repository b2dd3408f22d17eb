# Every pixel of the depth that the kernel delivers is the camera's.
start_camera one
node_frames "$(node_of Z16)" Z16 --count 30
node_frames "$(node_of Z16)" Z16 --width 320 --height 240 --count 30
