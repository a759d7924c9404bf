#!/usr/bin/env bash
# Runs the program on a simulated machine.
#   demo.sh                    creates a team on a machine with two ports, on a display of its own;
#                              prints the journal and the records, leaves pictures in build/demo
#   demo.sh --window [MACHINE] opens the program on your own display and leaves it to you, on any
#                              machine file (default: two-ports.txt)
set -euo pipefail
source "$(dirname "$0")/lib.sh"

DEMO=$ROOT/build/demo

# run_scenario FILE MACHINE: builds the machine and drives the program through the scenario, on one
# Wine session: the machine's driver runs only as long as some program does.
run_scenario() {
  local program
  program=$(winepath -w "$ROOT/build/release/QvTeamCfg.exe")
  timeout 120 wine qvbench.exe build "$2"
  timeout 60 wine qvbench.exe dump | tr -d '\r' >"$DEMO/machine-before.txt"
  # A backslash is plain text outside quotes in a scenario.
  sed "s|^start QvTeamCfg.exe|start ${program//\\/\\\\}|" "$1" >"$DEMO/scenario.txt"
  timeout 300 wine qvdrive.exe --shots "$(winepath -w "$DEMO")" \
    "$(winepath -w "$DEMO/scenario.txt")" </dev/null | tr -d '\r' >"$DEMO/answers.txt" ||
    { cat "$DEMO/answers.txt"; echo "The scenario was not carried out." >&2; return 1; }
  timeout 60 wine qvbench.exe dump | tr -d '\r' >"$DEMO/machine-after.txt"
}

show_creation() {
  echo "== Journal of the creation (bench milliseconds, what, details)"
  sed -n 's/^  \([0-9]\+\t\)/\1/p' "$DEMO/answers.txt"
  echo
  echo "== What the machine holds that it did not hold before (+) or no longer holds (-)"
  diff -U0 "$DEMO/machine-before.txt" "$DEMO/machine-after.txt" | grep '^[+-][^+-]' || true
  echo
  echo "== Pictures"
  ls "$DEMO"/*.png
}

WINDOW=
MACHINE=two-ports.txt
if [[ ${1:-} == --window ]]; then
  WINDOW=${DISPLAY:?--window needs a display}
  MACHINE=${2:-$MACHINE}
  [[ -e $MACHINE ]] && MACHINE=$(realpath "$MACHINE")
fi

need_toolchain
need_bench
build_preset release
build_preset debug --target bench
rm -rf "$DEMO"
mkdir -p "$DEMO"
bench_up "$WINDOW"
cd "$ROOT/build/debug"
if [[ -n $WINDOW ]]; then
  [[ -e $MACHINE ]] && MACHINE=$(winepath -w "$MACHINE")
  printf 'run qvbench.exe build %s\nstart %s\nwait-exit for-good\n' "$MACHINE" \
    "$(winepath -w "$ROOT/build/release/QvTeamCfg.exe")" | wine qvdrive.exe
else
  run_scenario "$ROOT/bench/drive/demo.txt" "$MACHINE"
  show_creation
fi
