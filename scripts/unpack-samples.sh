#!/usr/bin/env bash
# Unpacks the sample pages into a folder (standard: build/samples). Quick when they are there.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
folder=${1:-$root/build/samples}
mkdir -p "$folder"
for packed in "$root"/samples/*.bmp.xz; do
    page=$folder/$(basename "$packed" .xz)
    [ "$page" -nt "$packed" ] && continue
    # Under another name first: several test runs may unpack at once.
    part=$(mktemp "$page.XXXXXX")
    xz --decompress --stdout "$packed" > "$part"
    chmod 644 "$part"
    mv "$part" "$page"
done
