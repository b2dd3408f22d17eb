# The doctor finds the camera, its modes and its bus, and names what a visitor lacks.
start_camera one
nubrix doctor >report 2>&1 || :
cat report
expect_text 'usb:1-1' report
su visitor -s /bin/sh -c "PATH=$PATH nubrix doctor" >visited 2>&1 || :
cat visited
expect_text 'group video' visited
