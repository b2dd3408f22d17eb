# Every frame that the library delivers has the index, the size and every byte of the camera's picture.
start_camera one
library_frames depth --count 20
library_frames depth --width 320 --height 240 --count 20
library_frames color --count 20
library_frames ir --count 20
