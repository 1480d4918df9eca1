#!/usr/bin/env bash
# Builds and tests both widths, then both again under the address and undefined-behaviour
# sanitizers, then the threads under theirs, and looks at the sources where the programs for that are
# installed. Ends with the summary of each; fails when anything failed.
#
#     ./test.sh                 everything
#     ./test.sh x64 x64-asan    only these presets
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
presets=("$@")
[ $# -gt 0 ] || presets=(x86 x64 x86-asan x64-asan x64-tsan)
logs=build/test-logs
mkdir -p "$logs"

scripts/install-dependencies.sh > "$logs/install.log" 2>&1 || { cat "$logs/install.log"; exit 1; }
scripts/unpack-samples.sh || exit 1

failed=0
for preset in "${presets[@]}"; do
    echo "== $preset: configure and build"
    if [ ! -f "build/$preset/build.ninja" ] && ! cmake --preset "$preset" > "$logs/$preset-configure.log" 2>&1; then
        cat "$logs/$preset-configure.log"
        failed=1
        continue
    fi
    if ! cmake --build --preset "$preset" > "$logs/$preset-build.log" 2>&1; then
        grep -E "error|FAILED|warning" -A 5 "$logs/$preset-build.log" | head -60
        echo "The whole output is in $logs/$preset-build.log"
        failed=1
        continue
    fi
    echo "== $preset: test"
    ctest --preset "$preset" > "$logs/$preset-test.log" 2>&1 || failed=1
    # Without those that passed, and with one line for all cases of a tier that the processor has not got.
    awk '/Test +#[0-9]+: .* Passed|^ +Start +[0-9]+:|^$/ { next }
         /\/AVX512 .*Skipped/ { if (!/Test +#/) missing++; next }
         { print }
         END { if (missing) print "and " missing " cases of AVX512, which this processor has not got (Skipped)" }' \
        "$logs/$preset-test.log" | tail -60
done

if [ $# -eq 0 ]; then
    echo "== sources"
    scripts/lint.sh > "$logs/lint.log" 2>&1 || failed=1
    tail -40 "$logs/lint.log"
fi

echo
echo "== Summary"
for preset in "${presets[@]}"; do
    printf '%-9s ' "$preset"
    grep -hE "tests passed|No tests" "$logs/$preset-test.log" 2> /dev/null || echo "not built"
done
exit $failed
