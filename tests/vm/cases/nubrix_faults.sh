# A camera that stalls, and one that sends half a picture or a damaged one.
start_camera one
library_tests --gtest_filter='Faults.*'
end_cameras
# Told to keep them, the kernel delivers such pictures with a mark. It asks when the camera comes.
echo 1 >/sys/module/uvcvideo/parameters/nodrop
trap 'echo 0 >/sys/module/uvcvideo/parameters/nodrop; end_cameras' EXIT
start_camera one
library_tests --gtest_filter='DamageKept.*'
