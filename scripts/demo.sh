#!/bin/sh
# demo.sh [FOLDER]    builds Nubrix and shows a camera that needs no hardware: the list, three
# streams for three seconds with their first and last images, a photo, point clouds, and a recording
# of three seconds, as images and coloured clouds and played back. The results are in FOLDER
# (build/demo/results).
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
results=${1:-$root/build/demo/results}

"$root/scripts/deps.sh" build
cd "$root"
cmake --preset install -B build/demo >/dev/null
cmake --build build/demo --parallel
cd "$OLDPWD"
mkdir -p "$results"
nubrix=$root/build/demo/bin/nubrix

show() {
    echo
    echo "\$ nubrix $*"
    "$nubrix" "$@"
}

show --virtual list
show --virtual stream --streams color,depth,ir --seconds 3 --save "$results"
# A busy machine may miss a frame; the command reports it, and the rest goes on.
show --virtual record --out "$results/room.bin" --seconds 3 || true
show inspect "$results/room.bin"
show export "$results/room.bin" --out "$results/recorded" --png --ply --every 10
cat >"$results/playback.json" <<END
{"source": "recording", "recording": {"file": "room.bin", "repeat": "loop"}}
END
show --virtual --scenario "$results/playback.json" stream --streams color,depth,ir --seconds 2
show --virtual photo --out "$results/photo.bmp"
show --virtual cloud --out "$results/room.ply"
show --virtual cloud --rgba --out "$results/room-coloured.ply"

cat <<END

what                      where
images of the streams     $results/*.png
recording                 $results/room.bin
  its images, times       $results/recorded/*.png, timestamps.csv
  its coloured clouds     $results/recorded/*.ply
  a camera that plays it  nubrix --virtual --scenario $results/playback.json COMMAND
photo                     $results/photo.bmp
point cloud, metres       $results/room.ply
coloured by depth         $results/room-coloured.ply
END
