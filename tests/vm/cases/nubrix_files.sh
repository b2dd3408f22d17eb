# Recordings, photos and point clouds of the camera hold what they should.
start_camera one
# A slow machine may lose a frame: the tool says so and still keeps the rest.
nubrix record --streams depth --mode 320x240@15 --out room.bin --seconds 4 || [ $? -eq 1 ]
nubrix inspect room.bin >summary
cat summary
expect_text '^depth ' summary
nubrix photo --out photo.bmp
[ "$(stat -c %s photo.bmp)" -ge $((640 * 480 * 3)) ] || fail "the photo is too small"
nubrix cloud --fx 500 --fy 500 --cx 320 --cy 240 --out cloud.ply
expect_text '^element vertex [1-9][0-9][0-9][0-9][0-9]' cloud.ply
