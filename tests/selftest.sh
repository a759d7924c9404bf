#!/usr/bin/env bash
# Runs the bench's self-tests, which bring machines of their own, on the simulated machine that CTest
# has reserved.
set -euo pipefail
source "$(dirname "$0")/../scripts/lib.sh"
use_reserved_machine
cd "$1"
output=$(mktemp)
trap 'rm -f "$output"' EXIT
status=0
for program in bench_selftest netcfg_selftest; do
  timeout 60 wine qvbench.exe reset </dev/null >"$output" 2>&1 &&
    timeout 240 wine $program.exe </dev/null >>"$output" 2>&1 || status=$?
  cat "$output"
done
exit "$status"
