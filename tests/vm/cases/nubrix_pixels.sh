# Every frame that the library delivers has the index, the size and every byte that the camera sent.
start_camera one
library_frames depth --count 15
library_frames depth --width 320 --height 240 --rate 15 --count 10
library_frames depth color ir --count 10
