#!/usr/bin/env bash
# Runs the fuzz targets (fuzz/, libFuzzer) in both widths under the address and undefined-behaviour
# sanitizers, as many side by side as there are processors, each for SECONDS.
#
#     scripts/fuzz.sh SECONDS                    all targets
#     scripts/fuzz.sh SECONDS tiers quantize     only these
#
# Needs clang and its runtimes (Debian: clang, libclang-rt-14-dev) besides what the build needs. Prints
# for each target and width: executions, executions a second, what is covered (edges, and libFuzzer's
# features), findings. New findings are copied to fuzz/findings/TARGET, where the tests replay them;
# what the fuzzer has learnt stays in build/fuzz-corpus and is used by the next run.
# FUZZ_JOBS sets how many run at a time, FUZZ_WIDTHS ("x64") which widths.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
if ! [[ "${1:-}" =~ ^[0-9]+$ ]]; then
    sed -n '2,/^set/{/^set/d;s/^# \{0,1\}//p}' "$0"
    exit 2
fi
seconds=$1
shift
targets=("$@")
[ $# -gt 0 ] || mapfile -t targets < <(cd fuzz/seeds && ls)
read -ra widths <<< "${FUZZ_WIDTHS:-x86 x64}"
jobs=${FUZZ_JOBS:-$(nproc)}
corpus=$PWD/build/fuzz-corpus
logs=$PWD/build/fuzz-logs
mkdir -p "$corpus" "$logs"
command -v clang++ > /dev/null || { echo "clang++ is not installed (Debian: clang libclang-rt-14-dev)" >&2; exit 1; }

for width in "${widths[@]}"; do
    preset=fuzz-$width
    if ! { { [ -f "build/$preset/build.ninja" ] || cmake --preset "$preset"; } &&
        cmake --build --preset "$preset" --target "${targets[@]/#/fuzz_}"; } > "$logs/build-$width.log" 2>&1; then
        grep -E "error|FAILED" -A 5 "$logs/build-$width.log" | head -40
        exit 1
    fi
done

# One target of one width. A finding ends the fuzzer: it is started again for the time that is left.
fuzz_one() {
    local width=$1 target=$2 log=$logs/$2-$1.log new=$logs/new-$2-$1
    local end=$((SECONDS + seconds)) left now before=0
    mkdir -p "$corpus/$target" "$new"
    : > "$log"
    while left=$((end - SECONDS)) && [ "$left" -gt 0 ]; do
        ASAN_OPTIONS=allocator_may_return_null=1:quarantine_size_mb=16 UBSAN_OPTIONS=print_stacktrace=1 \
            "build/fuzz-$width/fuzz/fuzz_$target" -max_total_time="$left" -max_len=4096 -timeout=60 \
            -report_slow_units=60 -rss_limit_mb=1500 -print_final_stats=1 -artifact_prefix="$new/" \
            "$corpus/$target" "fuzz/seeds/$target" >> "$log" 2>&1 && break
        # An end without a new finding (a stored input that fails, an option that is none) would come again.
        now=$(find "$new" -type f | wc -l)
        [ "$now" -gt "$before" ] && [ "$now" -lt 20 ] || break
        before=$now
    done
    local found
    for found in "$new"/*; do
        [ -f "$found" ] || continue
        mkdir -p "fuzz/findings/$target"
        cp -n "$found" "fuzz/findings/$target/"
    done
    summary "$width" "$target"
}

summary() {
    local width=$1 target=$2 log=$logs/$2-$1.log
    # libFuzzer tells executions at the end of each run, and what is covered in every line of progress.
    awk -v target="$target" -v width="$width" -v found="$(find "$logs/new-$target-$width" -type f | wc -l)" \
        -v seconds="$seconds" '
        /^stat::number_of_executed_units/ { runs += $2 }
        match($0, /cov: [0-9]+/) { cov = substr($0, RSTART + 5, RLENGTH - 5) }
        match($0, /ft: [0-9]+/) { ft = substr($0, RSTART + 4, RLENGTH - 4) }
        END { printf "%-19s %s %11d %7d/s  %5d edges %6d features  %d findings\n",
              target, width, runs, runs / seconds, cov, ft, found }' "$log"
}

rm -rf "$logs"/new-*
for target in "${targets[@]}"; do
    for width in "${widths[@]}"; do
        while [ "$(jobs -rp | wc -l)" -ge "$jobs" ]; do
            wait -n
        done
        fuzz_one "$width" "$target" &
    done
done
wait
[ -z "$(find "$logs" -path "*/new-*" -type f -print -quit)" ]
