# Version, controls, extension unit, and a descriptor that the application opened.
start_camera one
DEPTH_NODE=$(node_of Z16) library_tests --gtest_filter='Properties.*'
