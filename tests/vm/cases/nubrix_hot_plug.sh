# In one process: unplugged in mid-stream and back 20 times, restarted, and how soon it is reported.
start_camera one
library_tests --gtest_filter='HotPlug.*'
