#!/usr/bin/env bash
# Sets up what is missing, builds everything and runs all tests. Arguments go to CTest.
#   QV_LINT=1   also checks the format and runs clang-tidy and cppcheck
set -euo pipefail
source "$(dirname "$0")/lib.sh"

need_toolchain
need_bench
build_preset release
build_preset debug
bench_up
export QV_PROGRAM
QV_PROGRAM=$(winepath -w "$ROOT/build/release/QvTeamCfg.exe")
ctest --test-dir "$ROOT/build/debug" --output-on-failure "$@" </dev/null
