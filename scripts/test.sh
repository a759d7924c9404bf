#!/usr/bin/env bash
# Sets up what is missing, builds everything and runs all tests. Arguments go to CTest.
set -euo pipefail
source "$(dirname "$0")/lib.sh"

need_toolchain
need_bench
need_lint
need_fuzz
build_preset release
build_preset debug
build_fuzz
bench_up_machines 3
export QV_PROGRAM
QV_PROGRAM=$(winepath -w "$ROOT/build/release/QvTeamCfg.exe")
ctest --test-dir "$ROOT/build/debug" --output-on-failure --parallel 3 \
  --resource-spec-file "$ROOT/tests/machines.json" "$@" </dev/null
