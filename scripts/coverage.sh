#!/usr/bin/env bash
# Line and branch coverage of the library's six folders by the test programs.
#
#     scripts/coverage.sh              builds in build/coverage (64 bits), runs, reports
#     scripts/coverage.sh --report     reports once more on the last run
#
# Needs nothing beside what the build needs: gcov comes with the compiler. The library is built without
# optimisation for it, and every program of tests/ that is made with dibprep_test runs once, whole; the
# stored inputs of the fuzz targets are not replayed, for what only they reach has no expectation. The
# suites of the kernel tiers run every tier that this processor has. Takes some minutes.
#
# Prints the figures of each file and folder, then the branches never taken: each stands in
# scripts/coverage_left.txt with a reason, or is a failure. The goals are in scripts/coverage_report.py.
# COVERAGE_JOBS sets how many programs run at a time.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build=$PWD/build/coverage
logs=$build/logs
case "${1:-}" in
    "") ;;
    --report) exec python3 -B scripts/coverage_report.py "$build" ;;
    *)
        sed -n '2,/^set/{/^set/d;s/^# \{0,1\}//p}' "$0"
        exit 2
        ;;
esac

mkdir -p "$logs"
if ! { { [ -f "$build/build.ninja" ] || cmake --preset coverage; } && cmake --build --preset coverage; } \
    > "$logs/build.log" 2>&1; then
    grep -E "error|FAILED" -A 5 "$logs/build.log" | head -40
    echo "The whole output is in $logs/build.log"
    exit 1
fi

find "$build" -name '*.gcda' -delete
rm -f "$logs"/*_tests.log
# Under the folder where ctest would run it, with its output kept only for a failure.
run_program() {
    local name
    name=$(basename "$1")
    cd "$(dirname "$1")" && "$1" --gtest_brief=1 > "$2/$name.log" 2>&1 && rm "$2/$name.log"
}
export -f run_program
mapfile -t programs < <(find "$build/tests" -path '*/CMakeFiles' -prune -o -type f -name '*_tests' -print | sort)
if [ ${#programs[@]} -eq 0 ]; then
    echo "No test programs in $build/tests" >&2
    exit 1
fi
failed=0
if ! printf '%s\0' "${programs[@]}" |
    xargs -0 -P "${COVERAGE_JOBS:-$(nproc)}" -I '{}' bash -c 'run_program "$1" "$2"' - '{}' "$logs"; then
    failed=1
    for log in "$logs"/*_tests.log; do
        echo "== $(basename "$log" .log) failed"
        tail -n 20 "$log"
    done
fi
python3 -B scripts/coverage_report.py "$build" || failed=1
exit $failed
