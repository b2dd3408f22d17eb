# The kernel's test driver, which is no USB camera, is listed and streams, and its errors are survived.
start_camera one
modprobe vivid
eventually vivid_node >/dev/null
VIVID_NODE=$(vivid_node) library_tests --gtest_filter='Vivid.*'
