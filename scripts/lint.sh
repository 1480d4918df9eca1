#!/usr/bin/env bash
# Looks at the sources without running them, and fails on the first kind of finding it prints:
#
#   heads         every source file opens with a comment, and none is longer than 500 lines
#   headers       every header compiles alone (but the loops of x86/, which need a tier, and the benchmarks');
#                 the plain entries compile as C, too
#   clang-format  the layout of .clang-format
#   cppcheck      its warnings, for the library, the host layer and the tool
#   clang-tidy    the checks of .clang-tidy, for the library and the host layer; with --deep for the tool and
#                 the fuzz targets, too, which takes three times as long (flags as in build/x64)
#
# A program that is not installed, or not in the version meant, is named as SKIPPED. Files that clang-tidy
# found clean are remembered in build/lint until they, a header of theirs, their flags or the checks change.
#
#     scripts/lint.sh [--deep | --fix-format]
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
state=build/lint
mkdir -p "$state"
jobs=$(nproc)
failed=0

sources() { git ls-files -- "$@" 2> /dev/null || find "$@" -type f | sort; }
have() {
    command -v "$1" > /dev/null && return 0
    echo "SKIPPED $1: not installed"
    return 1
}
verdict() { # name, status
    if [ "$2" -eq 0 ]; then
        echo "ok      $1"
    else
        echo "FAILED  $1"
        failed=1
    fi
}

mapfile -t all < <(sources '*.cpp' '*.h' '*.c')
mapfile -t scripts < <(sources '*.sh' '*.py' '*.cmake' '*CMakeLists.txt')
mapfile -t headers < <(sources '*.h')
mapfile -t product < <(sources 'memory/*.cpp' 'dib/*.cpp' 'transform/*.cpp' 'bilinear/*.cpp' 'quantize/*.cpp' \
                                'image/*.cpp' 'platform/*.cpp' 'tools/*.cpp')

if [ "${1:-}" = --fix-format ]; then
    clang-format -i "${all[@]}"
    exit
fi

status=0
for file in "${all[@]}"; do
    head -1 "$file" | grep -qE '^(//|/\*)' || { echo "$file: opens without saying what it is for"; status=1; }
done
for file in "${scripts[@]}"; do
    head -3 "$file" | grep -qE '^(# |"""|r?""")' || { echo "$file: opens without saying what it is for"; status=1; }
done
for file in "${all[@]}" "${scripts[@]}"; do
    [ "$(wc -l < "$file")" -le 500 ] || { echo "$file: longer than 500 lines"; status=1; }
done
verdict heads $status

# Headers of the tool and of the tests' libraries find theirs through the build's own search paths.
includes=(-I. -Iinclude -I/usr/src/googletest/googletest/include -I/usr/src/googletest/googletest)
# A tier's shared loops (x86/*.h) are compiled by the files that define the tier.
alone() { echo "#include \"$1\"" | g++ -std=c++17 -fsyntax-only -Wall -Wextra -Wno-unused "${@:2}" -x c++ -; }
export -f alone
printf '%s\n' "${headers[@]}" | grep -vE '/x86/|^bench/' |
    xargs -P "$jobs" -I{} bash -c 'alone "$@" || exit 1' alone {} "${includes[@]}"
status=$?
gcc -std=c99 -fsyntax-only -Wall -Wextra -Iinclude -x c include/dibprep/entries.h || status=1
verdict headers $status

# Other versions lay some lines out differently, and find other things.
if have clang-format && ! clang-format --version | grep -q 'version 14\.'; then
    echo "SKIPPED clang-format: not version 14"
elif have clang-format > /dev/null; then
    clang-format --dry-run --Werror "${all[@]}"
    verdict clang-format $?
fi

if have cppcheck; then
    cppcheck --quiet --std=c++17 --error-exitcode=1 --inline-suppr -j "$jobs" \
        --enable=warning,performance,portability --suppressions-list=scripts/cppcheck.txt \
        -Iinclude -I. "${product[@]}"
    verdict cppcheck $?
fi

if have clang-tidy && ! clang-tidy --version | grep -q 'version 14\.'; then
    echo "SKIPPED clang-tidy: not version 14"
elif have clang-tidy > /dev/null; then
    folders=(memory dib transform bilinear quantize image platform)
    [ "${1:-}" != --deep ] || folders+=(tools fuzz)
    [ -f build/x64/compile_commands.json ] || cmake --preset x64 > "$state/configure.log" || cat "$state/configure.log"
    scripts/lint_tidy.py "${folders[@]}"
    verdict clang-tidy $?
fi
exit $failed
