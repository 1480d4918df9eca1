#!/usr/bin/env bash
# Builds the 32-bit library and the tool as needed. Without arguments it then converts the sample
# page and says what it did; with arguments it hands them to the tool:
#
#     ./run.sh
#     ./run.sh resample page.bmp page200.bmp --dpi 200
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
tool=$root/build/x86/tools/dibprep
log=$root/build/run.log

quietly() { # what a step prints is shown only when the step fails
    if ! (cd "$root" && "$@") > "$log" 2>&1; then
        cat "$log" >&2
        echo "This failed: $*" >&2
        exit 1
    fi
}

mkdir -p "$root/build"
quietly scripts/install-dependencies.sh
if [ ! -x "$tool" ]; then
    echo "Building the 32-bit library and the tool; this takes a minute or two the first time." >&2
fi
[ -f "$root/build/x86/build.ninja" ] || quietly cmake --preset x86
quietly cmake --build --preset x86 --target dibprep_tool dibprep dibhost

if [ $# -gt 0 ]; then
    exec "$tool" "$@"
fi

quietly scripts/unpack-samples.sh
page=$root/build/samples/page-24bit.bmp
result=$root/out/page-24bit-200dpi.bmp
mkdir -p "$root/out"
begin=$(date +%s%N)
quietly "$tool" resample "$page" "$result" --dpi 200 --force
took=$((($(date +%s%N) - begin) / 10000000))
size() { # width and height out of a BMP header
    od -An -t d4 -j 18 -N 8 "$1" | awk '{ print $1 " x " $2 }'
}
cat <<END
Converted the sample page, 24 bits per pixel, from 300 to 200 dots per inch:
$(size "$page") pixels became $(size "$result"), each mixed from its four nearest neighbours.
The work was done by the 32-bit library, build/x86/libdibprep.so, and took $(printf '%d.%02d' $((took / 100)) $((took % 100))) seconds
with reading and writing. The result is

    out/page-24bit-200dpi.bmp

Try another: ./run.sh resample build/samples/page-1bit.bmp out/fax.bmp --dpi 200
END
