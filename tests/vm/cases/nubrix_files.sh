# Recordings, photos and point clouds of the camera hold what they should.
start_camera one
# A slow machine may lose a frame: the tool reports it and still keeps the rest.
nubrix record --streams depth --mode 320x240@15 --out room.bin --frames 20 2>errors ||
    expect_text '^nubrix: frames of depth are missing$' errors
nubrix inspect room.bin --json >summary || [ $? -eq 1 ]
cat summary
records=$(sed -n 's/^ *"records": \([0-9]*\).*/\1/p' summary | head -n 1)
[ "${records:-0}" -ge 20 ] || fail "$records records"
nubrix photo --out photo.bmp
[ "$(stat -c %s photo.bmp)" -eq $((54 + 640 * 480 * 3)) ] || fail "the photo has a wrong size"
[ "$(tail -c +55 photo.bmp | od -An -v -tu1 -w3 | sort -u | wc -l)" -gt 100 ] || fail "no image"
nubrix cloud --fx 500 --fy 500 --cx 320 --cy 240 --out cloud.ply
expect_text '^element vertex [1-9][0-9][0-9][0-9][0-9]' cloud.ply
