#!/usr/bin/env bash
# Fuzzes the deciding functions under the sanitizers, guided by coverage, and prints a line for each
# target: operation, calls, inputs, crashes, hangs, leaks, broken checks, seconds.
#
#   scripts/fuzz.sh [RUNS [TARGET ...]]     1000000 inputs each unless told otherwise
#   scripts/fuzz.sh --keep                  replaces tests/fuzz/corpus by what was found, minimised
#
# What is found stays in build/fuzz/found, inputs that fail in build/fuzz/failures.
set -euo pipefail
source "$(dirname "$0")/lib.sh"

need_fuzz
build_fuzz >&2
cd "$ROOT/build/fuzz"
mkdir -p failures

# Only edges count, not how often they are passed: a tenth of the inputs reaches the same code.
keep() {
  local target kept
  for target in $(./fuzz --list); do
    kept=$ROOT/tests/fuzz/corpus/$target
    rm -rf "kept/$target" && mkdir -p "kept/$target" "found/$target" "$kept"
    ./fuzz "--target=$target" -merge=1 -use_counters=0 "kept/$target" "$kept" "found/$target" \
      2>"merge-$target.log"
    rm -rf "$kept" && mv "kept/$target" "$kept"
  done
}

# one RUNS TARGET: a line of the table.
one() {
  local runs=$1 target=$2 log=fuzz-$2.log seconds=$SECONDS crashes=0 hangs=0 leaks=0 wrong=0 status=0
  mkdir -p "found/$target" "$ROOT/tests/fuzz/corpus/$target"
  ./fuzz "--target=$target" "-runs=$runs" -timeout=20 -max_len=1024 -print_final_stats=1 \
    "-artifact_prefix=failures/$target-" "found/$target" "$ROOT/tests/fuzz/corpus/$target" \
    >"$log" 2>&1 || status=$?
  if [[ $status -ne 0 ]]; then
    if grep -q 'check failed' "$log"; then wrong=1
    elif grep -q 'ERROR: libFuzzer: timeout' "$log"; then hangs=1
    elif grep -q 'detected memory leaks' "$log"; then leaks=1
    else crashes=1; fi
    grep -E 'check failed|ERROR: |runtime error|Test unit written' "$log" >&2 || tail -5 "$log" >&2
  fi
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  printf 'fuzz %s\t-\t%s\t%d\t%d\t%d\t%d\t%d\n' "$target" "${runs:-0}" "$crashes" "$hangs" "$leaks" \
    "$wrong" "$((SECONDS - seconds))"
  return "$((status != 0))"
}

if [[ ${1:-} == --keep ]]; then
  keep
  exit
fi
runs=${1:-1000000}
shift || true
[[ $# -ne 0 ]] || mapfile -t all < <(./fuzz --list)
failed=0
for target in "${@:-${all[@]}}"; do
  one "$runs" "$target" || failed=1
done
exit "$failed"
