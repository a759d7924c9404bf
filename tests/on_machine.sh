#!/usr/bin/env bash
# Runs a test program on the simulated machine that CTest has reserved for it, a Wine prefix with a
# display of its own; without a reservation, on the caller's own.
set -euo pipefail
if [[ ${CTEST_RESOURCE_GROUP_0_MACHINES:-} =~ id:([0-9]+) ]]; then
  machine=BENCH_MACHINE_${BASH_REMATCH[1]}
  read -r DISPLAY WINEPREFIX <<<"${!machine}"
  export DISPLAY WINEPREFIX
fi
# Programs of the Wine session that start beside the test would keep CTest's pipe open.
output=$(mktemp)
trap 'rm -f "$output"' EXIT
status=0
timeout 600 wine "$@" </dev/null >"$output" 2>&1 || status=$?
cat "$output"
exit "$status"
