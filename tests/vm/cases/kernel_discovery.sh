# The kernel and udev see the camera as it describes itself.
start_camera one --serial SOFT0001
for format in Z16 YUYV MJPG GREY; do
    node_of $format >/dev/null
done
udevadm info -q property -n "$(node_of Z16)" >properties
expect_text '^ID_VENDOR_ID=1209$' properties
expect_text '^ID_MODEL=Software_Depth_Camera$' properties
expect_text '^ID_SERIAL_SHORT=SOFT0001$' properties
v4l2-ctl -d "$(node_of Z16)" --list-formats-ext >formats
expect_text 'Size: Discrete 640x480' formats
expect_text 'Size: Discrete 320x240' formats
expect_text '(30.000 fps)' formats
expect_text '(15.000 fps)' formats
