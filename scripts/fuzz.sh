#!/usr/bin/env bash
# Fuzzes the deciding functions under the sanitizers, guided by coverage, and prints a line for each
# target: operation, calls, inputs, crashes, hangs, leaks, broken checks, seconds.
#
#   scripts/fuzz.sh [RUNS [TARGET ...]]     1000000 inputs each unless told otherwise
#   scripts/fuzz.sh --keep                  replaces tests/fuzz/corpus by what was found, minimised
#   scripts/fuzz.sh --built ...             any of these without building, for whoever has built
#
# What is found stays in build/fuzz/found, inputs that fail in build/fuzz/failures.
set -euo pipefail
source "$(dirname "$0")/lib.sh"

if [[ ${1:-} == --built ]]; then
  shift
else
  need_fuzz
  build_fuzz >&2
fi
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

# one RUNS TARGET: a line of the table. The inputs grow to the target's longest within the first fifth of
# a million.
one() {
  local runs=$1 target=$2 log=fuzz-$2.log seconds=$SECONDS name="fuzz $2" status=0
  local executed most crashes=0 hangs=0 leaks=0 wrong=0
  most=$(./fuzz "--target=$target" --most-bytes) || return 1
  mkdir -p "found/$target" "$ROOT/tests/fuzz/corpus/$target"
  ./fuzz "--target=$target" "-runs=$runs" -timeout=20 "-max_len=$most" -len_control=20 \
    -print_final_stats=1 "-artifact_prefix=failures/$target-" "found/$target" \
    "$ROOT/tests/fuzz/corpus/$target" >"$log" 2>&1 || status=$?
  executed=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  executed=${executed:-0}
  if [[ $status -ne 0 ]]; then
    if grep -q 'check failed' "$log"; then wrong=1
    elif grep -q 'ERROR: libFuzzer: timeout' "$log"; then hangs=1
    elif grep -q 'detected memory leaks' "$log"; then leaks=1
    else crashes=1; fi
    grep -E 'check failed|ERROR: |runtime error|Test unit written' "$log" >&2 || tail -5 "$log" >&2
  elif [[ $executed -lt $runs ]]; then
    echo "$name: only $executed of $runs inputs, see $PWD/$log" >&2
    name+=' (broken)' crashes=1 status=1
  fi
  printf '%s\t-\t%d\t%d\t%d\t%d\t%d\t%d\n' "$name" "$executed" "$crashes" "$hangs" "$leaks" \
    "$wrong" "$((SECONDS - seconds))"
  return "$((status != 0))"
}

if [[ ${1:-} == --keep ]]; then
  keep
  exit
fi
runs=${1:-1000000}
shift || true
[[ $runs =~ ^[1-9][0-9]*$ ]] || { echo "no number of inputs: $runs" >&2; exit 2; }
[[ $# -ne 0 ]] || mapfile -t all < <(./fuzz --list)
failed=0
for target in "${@:-${all[@]}}"; do
  one "$runs" "$target" || failed=1
done
exit "$failed"
