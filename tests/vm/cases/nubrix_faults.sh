# A camera that stalls, and one that sends half a frame or a damaged one.
start_camera one
library_tests --gtest_filter='Faults.*'
end_cameras
# With its parameter set to keep them, the kernel delivers such frames with a mark. It reads the
# parameter when the camera is attached.
echo 1 >/sys/module/uvcvideo/parameters/nodrop
trap 'echo 0 >/sys/module/uvcvideo/parameters/nodrop; end_cameras' EXIT
start_camera one
library_tests --gtest_filter='DamageKept.*'
