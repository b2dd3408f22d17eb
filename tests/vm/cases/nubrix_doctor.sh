# The doctor finds the camera, its modes and its bus, and names what a visitor lacks.
start_camera one
ends_with 0 nubrix doctor >report 2>&1
cat report
expect_text '^good *usb:1-1' report
status=0
su visitor -s /bin/sh -c "PATH=$PATH nubrix doctor" >visited 2>&1 || status=$?
cat visited
[ $status -eq 1 ] || fail "a visitor gets status $status"
expect_text 'visitor may not open /dev/video' visited
expect_text 'usermod -aG video visitor' visited
