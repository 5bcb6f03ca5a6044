#!/usr/bin/env bash
# Makes a small test movie: moving picture and stereo sound that differs from channel to channel.
# Usage: make_movie.sh OUT WIDTHxHEIGHT RATE FRAMES [uyvy|v210] [interlaced]
set -eu
out=$1 size=$2 rate=$3 frames=$4 kind=${5:-uyvy} scan=${6:-progressive}
case $kind in
  uyvy) picture=(-pix_fmt uyvy422 -c:v rawvideo -tag:v 2vuy) ;;
  v210) picture=(-pix_fmt yuv422p10le -c:v v210) ;;
  *) echo "make_movie.sh: unknown kind $kind" >&2; exit 2 ;;
esac
field=()
[ "$scan" = interlaced ] && field=(-field_order tt -vf setfield=tff)
seconds=$(awk "BEGIN { split(\"$rate\", r, \"/\"); print $frames * (r[2] ? r[2] : 1) / r[1] + 1 }")
exec ffmpeg -v error -y -f lavfi -i "testsrc2=size=$size:rate=$rate" \
  -f lavfi -i "aevalsrc=0.5*sin(2*PI*997*t)|0.25*sin(2*PI*440*t):s=48000:d=$seconds" \
  -frames:v "$frames" "${field[@]}" "${picture[@]}" -c:a pcm_s24le -shortest "$out"
