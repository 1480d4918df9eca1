#!/usr/bin/env bash
# Looks at the sources without running them, and fails on the first kind of finding it prints:
#
#   heads         every source file opens with a comment, and none is longer than 500 lines
#   headers       every header compiles alone (but the loops of x86/, which need a tier, and the benchmarks');
#                 the plain entries compile as C, too
#   clang-format  the layout of .clang-format
#   cppcheck      its warnings, for the library, the host layer and the tool
#   clang-tidy    with --deep only: the checks of .clang-tidy, for the same (needs a configured build/x64,
#                 takes minutes, and has findings that nobody has looked at yet)
#
# A program that is not installed is named as SKIPPED. Files that passed clang-tidy are remembered
# in build/lint until they, a header or the checks change.
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

# Other versions lay some lines out differently.
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

if [ "${1:-}" = --deep ] && have clang-tidy; then
    if [ -f build/x64/compile_commands.json ]; then
        newest=$(ls -t "${headers[@]}" .clang-tidy | head -1)
        todo=()
        for file in "${product[@]}"; do
            stamp=$state/${file//\//_}.tidy
            [ "$stamp" -nt "$file" ] && [ "$stamp" -nt "$newest" ] || todo+=("$file")
        done
        tidy() { clang-tidy -p build/x64 --quiet "$1" 2> /dev/null && touch "$2/${1//\//_}.tidy"; }
        export -f tidy
        status=0
        if [ ${#todo[@]} -gt 0 ]; then
            printf '%s\n' "${todo[@]}" | xargs -P "$jobs" -I{} bash -c 'tidy "$@" || exit 1' tidy {} "$state"
            status=$?
        fi
        verdict clang-tidy $status
    else
        echo "SKIPPED clang-tidy: build/x64 is not configured"
    fi
fi
exit $failed
