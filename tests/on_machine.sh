#!/usr/bin/env bash
# Runs a test program on the simulated machine that CTest has reserved for it, a Wine prefix with a
# display of its own; without a reservation, on the caller's own.
set -euo pipefail
source "$(dirname "$0")/../scripts/lib.sh"
use_reserved_machine
# Programs that run side by side would lose each other's counts.
[[ -z ${QV_COUNTS:-} ]] || export GCOV_PREFIX=$QV_COUNTS/${WINEPREFIX##*/}
# Programs of the Wine session that start beside the test would keep CTest's pipe open.
output=$(mktemp)
trap 'rm -f "$output"' EXIT
status=0
timeout 600 wine "$@" </dev/null >"$output" 2>&1 || status=$?
cat "$output"
exit "$status"
