#!/usr/bin/env bash
# Runs the test programs under valgrind's memcheck, in 64 bits: no test may read memory that nobody
# wrote, or that was freed. Prints a line per program; fails when any found an error.
#
#     scripts/memcheck.sh              all programs below
#     scripts/memcheck.sh dib_tests    only these
#
# Left out, by name:
# - tests that end a process on purpose, and all of test_host_tests: they touch unreadable pages;
# - uninitialised_memory_tests, which fills what malloc gives out and so defines it;
# - HalfAGigapixel, PageOf...65535 and the like: hundreds of megabytes, too slow here;
# - tests that look at the process itself: its resident memory, its limits; and all of dibhost_tests,
#   which hand the system addresses that cannot be read.
# The random comparisons run a twentieth of their cases. Long doubles have 64 bits under memcheck: no
# expectation may rest on more.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
command -v valgrind > /dev/null || { echo "valgrind is not installed (apt-get install valgrind)"; exit 2; }

programs=("$@")
[ $# -gt 0 ] || programs=(memory_tests dib_tests transform_tests quantize_tests static_palette_tests bilinear_tests
                          image_tests pen_enumeration_tests failing_memory_tests callers_tests hostile_tests
                          transform_tier_tests quantize_tier_tests bilinear_tier_tests
                          oracle_pipeline_tests oracle_utilities_tests)
left_out='*DeathTest*:*LibraryThatStays*:*65535*:*65536*:*HalfAGigapixel*:*HeightIntMax*:*HeightMinus*'
left_out+=':*Resident*:*FlatMemory*:*Coarse*:*Limits*'

cmake --preset x64 > /dev/null || exit 1
if ! cmake --build --preset x64 --target "${programs[@]}" > build/memcheck-build.log 2>&1; then
    tail -20 build/memcheck-build.log
    exit 1
fi

check() {
    local program path log start=$SECONDS
    program=$1
    path=$(find build/x64/tests -name "$program" -type f -perm -u+x | head -1)
    log=build/memcheck-$program.log
    DIBPREP_RANDOM_CASES=0.05 valgrind --quiet --error-exitcode=9 --leak-check=no --num-callers=20 \
        --suppressions=scripts/memcheck.supp \
        "$path" --gtest_filter="-$left_out" > "$log" 2>&1
    local status=$?
    if [ $status -eq 0 ]; then
        echo "$program: clean, $(grep -oE '[0-9]+ tests?' "$log" | head -1) ($((SECONDS - start)) s)"
    else
        echo "$program: exit $status, see $log"
        grep -E "^==[0-9]+== [A-Z]|FAILED" "$log" | head -20
        return 1
    fi
}
export -f check
export left_out
printf '%s\n' "${programs[@]}" | xargs -P 2 -I{} bash -c 'check {}'
