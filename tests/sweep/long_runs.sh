#!/usr/bin/env bash
# The long forms of the sweeps that are not about failing calls, for scripts/soak.sh: kills, hostile
# machines and fuzzing on the first machine, cycles beside them on the last. Prints lines of its table.
set -euo pipefail
source "$(dirname "$0")/../../scripts/lib.sh"

# long_run MACHINE NAME COMMAND...: a tool that ends without a line of the table has crashed.
long_run() {
  local machine=BENCH_MACHINE_$1 name=$2 log=$SOAK/$2.log lines
  shift 2
  read -r DISPLAY WINEPREFIX <<<"${!machine}"
  export DISPLAY WINEPREFIX
  "$@" </dev/null >"$log" 2>&1 || echo "$name ended with $?, see $log" >&2
  lines=$(tr -d '\r' <"$log" | grep -P '^[^\t]+\t(\d+|-)(\t\d+){6}$' || true)
  echo "${lines:-$name (broken)$(printf '\t0\t0\t1\t0\t0\t0\t0')}"
}

QV_CYCLES=1000 long_run $((MACHINES - 1)) cycles timeout 10000 wine cycle_soak.exe &
cycles=$!
[[ $MACHINES -gt 1 ]] || wait "$cycles"
QV_KILLS=all long_run 0 kills timeout 10000 wine kill_sweep.exe
long_run 0 hostile timeout 10000 wine hostile_machines.exe --seed 1 --count 5000 --table
long_run 0 fuzz "$ROOT/scripts/fuzz.sh"
wait
