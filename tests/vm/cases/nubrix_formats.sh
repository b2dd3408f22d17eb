# So it is with every other format that the kernel knows of a USB camera.
for formats in packed planar jpeg; do
    start_camera one --formats $formats
    library_frames color --formats $formats --count 4
    [ $formats = jpeg ] || library_frames ir --formats $formats --count 4
    end_cameras
done
