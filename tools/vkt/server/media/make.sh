#!/usr/bin/env bash
# Makes the video and the pictures beside this file anew, with ffmpeg and ImageMagick (as they are in Debian 12: 5.1 and
# 6.9). They are kept in the repository, so that a build needs neither.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

ground='#1d3557'
bar='#f1c40f'

# 15 seconds, as long as the demo ads: a bar that grows from left to right. Baseline, with its index at the start and a
# key frame every 5 seconds, for plain players.
ffmpeg -y -v error -f lavfi -i "color=$ground:size=640x360:rate=10:duration=15" \
    -f lavfi -i "color=$bar:size=640x80:rate=10:duration=15" \
    -filter_complex "[0][1]overlay=x='-w+W*t/15':y=140" \
    -c:v libx264 -profile:v baseline -preset veryslow -crf 30 -pix_fmt yuv420p -g 50 -an \
    -movflags +faststart -map_metadata -1 -fflags +bitexact -flags:v +bitexact ad.mp4

# In the sizes that the demo documents say.
convert -size 300x250 "xc:$ground" -fill "$bar" -draw 'rectangle 20,90 279,159' -strip companion.gif
convert -size 16x16 "xc:$ground" -fill "$bar" -draw 'rectangle 3,6 12,9' -strip icon.gif
