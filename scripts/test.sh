#!/usr/bin/env bash
# Sets up what is missing, builds everything and runs all tests. Arguments go to CTest.
#   test.sh --quick ...    builds debug alone; leaves out the tests labelled "long" (tests/CMakeLists.txt)
set -euo pipefail
source "$(dirname "$0")/lib.sh"

QUICK=''
if [[ ${1:-} == --quick ]]; then
  QUICK=1
  shift
fi

need_toolchain
need_bench
build_preset debug
PROGRAM=$ROOT/build/debug/QvTeamCfg.exe
if [[ -z $QUICK ]]; then
  need_lint
  need_fuzz
  build_preset release
  build_fuzz
  PROGRAM=$ROOT/build/release/QvTeamCfg.exe
fi
bench_up_machines 3
export QV_PROGRAM
QV_PROGRAM=$(winepath -w "$PROGRAM")
ctest --test-dir "$ROOT/build/debug" --output-on-failure --parallel 3 ${QUICK:+--label-exclude long} \
  --resource-spec-file "$ROOT/tests/machines.json" "$@" </dev/null
