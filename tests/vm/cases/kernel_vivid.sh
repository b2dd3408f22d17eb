# The kernel's test driver streams the formats that the software camera does not have.
modprobe vivid
eventually vivid_node >/dev/null
node=$(vivid_node)
for format in YUYV UYVY NV12 NV21 RGB3 GREY 'Y16 ' 'Y10 '; do
    v4l2-ctl -d "$node" --set-fmt-video=width=640,height=360,pixelformat="$format"
    size=$(v4l2-ctl -d "$node" --get-fmt-video | sed -n 's/.*Size Image *: //p')
    v4l2-ctl -d "$node" --stream-mmap=4 --stream-count=5 --stream-to=frames >/dev/null 2>&1
    [ "$(stat -c %s frames)" -eq $((5 * size)) ] || fail "$format: $(stat -c %s frames) bytes"
done
