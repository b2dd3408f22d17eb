# The tool streams depth, colour and infrared at once, and a camera with isochronous endpoints.
start_camera one
nubrix stream --streams color,depth,ir --frames 15 --json >report
[ "$(grep -c '"frames": [1-9]' report)" -eq 3 ] || fail "$(cat report)"
[ "$(grep -c '^      "damaged": 0' report)" -eq 3 ] || fail "$(cat report)"
start_camera two --port 1 --isochronous
nubrix stream usb:1-2 --streams depth --mode 320x240@15 --frames 10 --json >report
expect_text '"frames": 1[0-9]' report
