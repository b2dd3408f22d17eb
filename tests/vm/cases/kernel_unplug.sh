# It goes away in mid-stream and comes back, again and again.
start_camera one
for round in 1 2 3 4 5 6; do
    node_frames "$(node_of Z16)" Z16 --count 100000 >stream.log &
    reader=$!
    eventually streams one depth
    control one unplug
    ends_with 3 wait $reader
    control one plug
    wait_for_nodes
done
node_frames "$(node_of Z16)" Z16 --count 5
