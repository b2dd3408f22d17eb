# Depth, colour and infrared stream at the same time, and every byte is right.
start_camera one
for format in Z16 YUYV GREY; do
    node_frames "$(node_of $format)" $format --count 40 >$format &
    eval "reader_$format=$!"
done
for format in Z16 YUYV GREY; do
    eval "wait \$reader_$format" || fail "$(cat $format)"
    cat $format
done
node_frames "$(node_of MJPG)" MJPG --count 20
