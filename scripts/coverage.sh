#!/usr/bin/env bash
# Runs the tests over a build that counts, and prints for each file of the product how many of its
# lines and branches ran; then the lines that no test reached, and the files of which nothing was counted.
# Arguments go to CTest. Ends with an error when a test failed.
set -euo pipefail
source "$(dirname "$0")/lib.sh"

MACHINES=3
BUILD=$ROOT/build/coverage
COUNTS=$BUILD/counts
# Nothing of this build runs in the first two; the third looks at the executable as a file, its imports
# and its size, which counting changes.
LEFT_OUT='^(lint|fuzz_corpus|executable_test)$'

# product_sources: those that the program is built of.
product_sources() {
  grep -oE '[a-z]+/[a-z_]+\.cpp' "$ROOT/cmake/product.cmake" | sort -u
}

# has_code SOURCE: by the compiler's notes; without any, it was not even compiled.
has_code() {
  local notes=$BUILD/CMakeFiles/qvteamcfg_core.dir/$1.gcno
  [[ ! -e $notes ]] ||
    [[ $(x86_64-w64-mingw32-gcov-posix -n "$notes" 2>/dev/null) != *'No executable lines'* ]]
}

# uncounted TABLE: the product's sources with code that have no line there.
uncounted() {
  local source
  comm -23 <(product_sources) <(awk 'NF == 5 { print $1 }' "$1" | sort -u) |
    while read -r source; do
      ! has_code "$source" || echo "$source"
    done
}

need_toolchain
need_bench
need python3 python3-minimal
install_missing
build_preset coverage
bench_up_machines $MACHINES
rm -rf "$COUNTS"
export QV_PROGRAM QV_COUNTS=$COUNTS
QV_PROGRAM=$(winepath -w "$BUILD/QvTeamCfg.exe")
failed=0
ctest --test-dir "$BUILD" --parallel $MACHINES --exclude-regex "$LEFT_OUT" \
  --resource-spec-file "$ROOT/tests/machines.json" "$@" </dev/null >"$BUILD/tests.log" || failed=$?

# Each machine has counted for itself, because programs side by side lose each other's counts.
python3 "$ROOT/scripts/coverage.py" "$ROOT" "$COUNTS" | tee "$BUILD/table.txt"
printf '\nfiles of which nothing was counted:\n'
uncounted "$BUILD/table.txt"
[[ $failed -eq 0 ]] || sed -n '/tests passed/,$p' "$BUILD/tests.log" >&2
exit "$failed"
