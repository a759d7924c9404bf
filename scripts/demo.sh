#!/usr/bin/env bash
# Runs the program on a simulated machine.
#   demo.sh                    on a Windows 10 machine, on a display of its own: creates a team, adds
#                              two VLANs and removes one, removes the team; prints the journals and
#                              what changed, leaves pictures in build/demo
#   demo.sh --window [MACHINE] opens the program on your own display and leaves it to you, on any
#                              machine file (default: windows-10.txt)
set -euo pipefail
source "$(dirname "$0")/lib.sh"

DEMO=$ROOT/build/demo

# run_scenario FILE MACHINE: builds the machine and drives the program through the scenario, whose
# answers go to answers.txt.
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
  timeout 60 wine qvbench.exe compare "$(winepath -w "$DEMO/machine-before.txt")" \
    "$(winepath -w "$DEMO/machine-after.txt")" | tr -d '\r' >"$DEMO/left.txt" ||
    { cat "$DEMO/left.txt"; echo "Something is left that nothing explains." >&2; return 1; }
  if grep $'\tmisuse\t' "$DEMO/answers.txt"; then
    echo "The program misuses a call." >&2
    return 1
  fi
}

# answer COMMAND NTH: the lines that the NTH such command of the scenario showed.
answer() {
  awk -v command="> $1" -v nth="$2" '
    /^> / { shown = index($0, command) == 1 && ++seen == nth; next }
    shown && /^  / { print substr($0, 3) }' "$DEMO/answers.txt"
}

difference() {
  diff -U0 "$1" "$2" | grep '^[+-][^+-]' || true
}

show_results() {
  local dump=$DEMO/machine-team.txt
  answer 'run qvbench.exe dump' 1 >"$dump"
  echo "== Journal of the creation (bench milliseconds, what, details)"
  answer 'bench journal-text' 1
  echo
  echo "== What the machine holds with the team that it did not hold before (+) or no longer holds (-)"
  difference "$DEMO/machine-before.txt" "$dump"
  echo
  echo "== Journal of two VLANs added and one removed"
  answer 'bench journal-text' 2
  echo
  echo "== Journal of the team's removal"
  answer 'bench journal-text' 3
  echo
  echo "== What is left of it all, and why"
  cat "$DEMO/left.txt"
  echo
  echo "== Pictures"
  ls "$DEMO"/*.png
}

WINDOW=
MACHINE=windows-10.txt
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
stay_on_processor 0
cd "$ROOT/build/debug"
if [[ -n $WINDOW ]]; then
  [[ -e $MACHINE ]] && MACHINE=$(winepath -w "$MACHINE")
  printf 'run qvbench.exe build %s\nstart %s\nwait-exit for-good\n' "$MACHINE" \
    "$(winepath -w "$ROOT/build/release/QvTeamCfg.exe")" | wine qvdrive.exe
else
  run_scenario "$ROOT/bench/drive/demo.txt" "$MACHINE"
  show_results
fi
