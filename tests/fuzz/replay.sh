#!/usr/bin/env bash
# Runs every input that was ever worth keeping through its fuzz target, once, under the sanitizers.
set -euo pipefail
source "$(dirname "$0")/../../scripts/lib.sh"

FUZZ=$ROOT/build/fuzz/fuzz
total=0
for target in $("$FUZZ" --list); do
  inputs=("$ROOT/tests/fuzz/corpus/$target"/*)
  [[ -e ${inputs[0]} ]] || { echo "no inputs for $target" >&2; exit 1; }
  "$FUZZ" "--target=$target" "${inputs[@]}" >/dev/null 2>"$ROOT/build/fuzz/replay-$target.log" || {
    cat "$ROOT/build/fuzz/replay-$target.log" >&2
    exit 1
  }
  total=$((total + ${#inputs[@]}))
done
echo "$total inputs"
