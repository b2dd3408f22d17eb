# The first program of the README, as it stands there, streams from the camera.
start_camera one
readme_program >output 2>&1 || fail "$(cat output)"
expect_text '^frame [0-9]*: [1-9][0-9]*\.00 mm$' output
[ "$(grep -c '^frame ' output)" -ge 2 ] || fail "$(cat output)"
