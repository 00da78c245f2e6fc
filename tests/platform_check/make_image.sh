#!/bin/sh
# SPDX-License-Identifier: MIT
# make_image.sh FILE SIZE VERSION: an image of the reference platform with exactly so many bytes,
# for the model in $MODEL.
set -eu
file=$1 size=$2 version=$3
payload=$(mktemp)
trap 'rm -f "$payload"' EXIT
# The manifest behind the payload has a few digits more or less: twice is enough.
held=$size
for _ in 1 2 3; do
    head -c "$held" /dev/urandom >"$payload"
    rm -f "$file"
    ota-image make --payload "$payload" --version "$version" --model "$MODEL" --output "$file" >&2
    made=$(wc -c <"$file")
    [ "$made" -eq "$size" ] && exit 0
    held=$((held + size - made))
done
echo "make_image.sh: no image of $size bytes could be made" >&2
exit 1
