#!/usr/bin/env bash
# Runs all tests over a build that counts, and prints for each file of the product how many of its
# lines and branches ran; then the lines that no test reached. Arguments go to CTest. Tests that look
# at the executable itself fail here, because counting changes it; they stand at the end.
set -euo pipefail
source "$(dirname "$0")/lib.sh"

MACHINES=3
COUNTS=$ROOT/build/coverage/counts

need_toolchain
need_bench
need python3 python3-minimal
install_missing
build_preset coverage
bench_up_machines $MACHINES
rm -rf "$COUNTS"
export QV_PROGRAM QV_COUNTS=$COUNTS
QV_PROGRAM=$(winepath -w "$ROOT/build/coverage/QvTeamCfg.exe")
ctest --test-dir "$ROOT/build/coverage" --parallel $MACHINES --exclude-regex '^lint$' \
  --resource-spec-file "$ROOT/tests/machines.json" "$@" </dev/null >"$ROOT/build/coverage/tests.log" ||
  FAILED=$(sed -n '/The following tests FAILED/,$p' "$ROOT/build/coverage/tests.log")

# Each machine has counted for itself, because programs side by side lose each other's counts.
python3 "$ROOT/scripts/coverage.py" "$ROOT" "$COUNTS"
[[ -z ${FAILED:-} ]] || echo "$FAILED"
