# Frames have the kernel's time; those that need no conversion are memory that the kernel has filled.
start_camera one
INFRARED_NODE=$(node_of GREY) library_tests --gtest_filter='Frames.*'
