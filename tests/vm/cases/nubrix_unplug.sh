# A stream ends when the camera goes away, and a new one starts when it is back; 20 times.
start_camera one
for round in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20; do
    nubrix stream --streams depth >stream.log 2>&1 &
    reader=$!
    eventually streams one depth
    tell one unplug
    status=0
    wait $reader || status=$?
    [ $status -eq 1 ] || fail "round $round: status $status: $(tail -n 5 stream.log)"
    tell one plug
    wait_for_nodes
done
library_frames depth --count 5
