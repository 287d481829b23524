#!/usr/bin/env bash
# quickstart.sh PROGRAM WORK: runs the program of the README on a video, and on a source that does not exist.
set -euo pipefail
program=$1 work=$2
command -v ffmpeg >/dev/null && command -v ffprobe >/dev/null || { echo "SKIP: there is no ffmpeg"; exit 77; }

rm -rf "$work"
mkdir -p "$work"
cd "$work"
ffmpeg -v error -f lavfi -i testsrc2=size=320x240:rate=50 -t 2 -c:v mjpeg clip.avi
"$program" clip.avi "$work/quickstart.mkv"
frames=$(ffprobe -v error -count_frames -show_entries stream=nb_read_frames -of csv=p=0 quickstart.mkv)
echo "$frames frames"
# 5 s at 25 Hz are 125 frames; a busy machine may be late, but a second's worth there is.
[ "$frames" -ge 25 ] && [ "$frames" -le 140 ]

status=0
"$program" missing.avi "$work/nothing.mkv" || status=$?
[ "$status" -eq 1 ] && [ ! -e nothing.mkv ]

status=0
"$program" 2>usage.txt || status=$?
[ "$status" -eq 2 ] && grep -q "usage: quickstart" usage.txt
