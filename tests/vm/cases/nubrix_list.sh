# The tool lists no camera, then one, then two with their serial numbers, and what they can do.
ends_with 0 nubrix list >none
expect_text 'no camera found' none
start_camera one --serial LEFT01
nubrix list >listed
expect_text '^usb:1-1$' listed
expect_text 'serial number *LEFT01$' listed
expect_text 'product *Software Depth Camera$' listed
start_camera two --serial RIGHT02 --port 1
nubrix list --json >listed
[ "$(grep -c '"uri": "usb:' listed)" -eq 2 ] || fail "$(cat listed)"
expect_text '"serial_number": "LEFT01"' listed
expect_text '"serial_number": "RIGHT02"' listed
! grep -q /dev/video listed || fail "a URI names a node"
nubrix modes usb:1-2 >modes
for text in '640x480 RGB888 @ 30, 15' '320x240 depth 14.2 @ 30, 15' '640x480 grey 8 @ 30, 15'; do
    expect_text "$text" modes
done
nubrix props >properties
expect_text 'firmware *1.2.3$' properties
