#!/usr/bin/env bash
# Runs everything that takes too long for a test, on machines side by side, and prints one table:
# operation, calls, runs, crashes, hangs, leaks, wrong outcomes, seconds. What was wrong with a run
# stands in build/soak/*.log. Hours on two cores.
#   soak.sh                  everything
#   soak.sh --every K        every K-th failing call only
#   soak.sh OPERATION...     the fault sweep of these operations, and nothing else
set -euo pipefail
source "$(dirname "$0")/lib.sh"

SOAK=$ROOT/build/soak
MACHINES=${SOAK_MACHINES:-$(nproc)}
# Operations on many adapters make so many calls that each is shared out between the machines.
SHARED='create-8 create-8-vlans adapter-add-last-vlan team-add-last-vlan'

every=1
if [[ ${1:-} == --every ]]; then
  every=$2
  shift 2
fi

# next_task: takes the first line out of the list of tasks.
next_task() {
  flock "$SOAK/lock" bash -c 'head -n 1 "$1" && sed -i 1d "$1"' _ "$SOAK/tasks"
}

# work MACHINE: carries out tasks on this machine until none is left.
work() {
  local machine=BENCH_MACHINE_$1 task
  read -r DISPLAY WINEPREFIX <<<"${!machine}"
  export DISPLAY WINEPREFIX
  while task=$(next_task) && [[ -n $task ]]; do
    # A sweep whose runs went wrong ends with an error; its table tells.
    # shellcheck disable=SC2086
    wine fault_sweep.exe $task --every "$every" --log "$(winepath -w "$SOAK/faults-$1.log")" \
      </dev/null 2>>"$SOAK/errors-$1.log" | tr -d '\r' >>"$SOAK/faults-$1.table" || true
  done
}

# merge: adds up the lines of one operation, whose calls each part has counted.
merge() {
  awk -F'\t' -v OFS='\t' '
    !($1 in runs) { order[++n] = $1 }
    { if ($2 > calls[$1]) calls[$1] = $2
      runs[$1] += $3; crashes[$1] += $4; hangs[$1] += $5; leaks[$1] += $6; wrong[$1] += $7
      seconds[$1] += $8 }
    END { for (i = 1; i <= n; i++) { o = order[i]
      print o, calls[o] + 0, runs[o], crashes[o], hangs[o], leaks[o], wrong[o], seconds[o] } }' "$@"
}

fault_tasks() {
  local operation shard
  for operation in "$@"; do
    if [[ " $SHARED " == *" $operation "* ]]; then
      for ((shard = 0; shard < 4; shard++)); do echo "--operation $operation --shard $shard/4"; done
    else
      echo "--operation $operation"
    fi
  done
}

fault_sweep() {
  local machine workers=()
  if [[ $# -eq 0 ]]; then
    mapfile -t operations < <(wine fault_sweep.exe --list --log NUL </dev/null | tr -d '\r')
    set -- "${operations[@]}"
  fi
  fault_tasks "$@" >"$SOAK/tasks"
  for ((machine = 0; machine < MACHINES; machine++)); do
    work "$machine" &
    workers+=($!)
  done
  wait "${workers[@]}"
  merge "$SOAK"/faults-*.table
}

need_toolchain
need_bench
build_preset release
build_preset debug --target sweeps
rm -rf "$SOAK"
mkdir -p "$SOAK"
bench_up_machines "$MACHINES"
export QV_PROGRAM
QV_PROGRAM=$(winepath -w "$ROOT/build/release/QvTeamCfg.exe")
cd "$ROOT/build/debug"

{
  printf 'operation\tcalls\truns\tcrashes\thangs\tleaks\twrong\tseconds\n'
  fault_sweep "$@"
  # Whatever else takes long: each of these prints lines of the same table. It runs in build/debug, with
  # the machines in BENCH_MACHINE_0 to BENCH_MACHINE_$((MACHINES - 1)) to itself and its logs in $SOAK.
  if [[ $# -eq 0 ]]; then
    export SOAK MACHINES
    for part in "$ROOT"/tests/sweep/*.sh; do
      [[ -e $part ]] || continue
      "$part" || echo "$(basename "$part") ended with an error" >&2
    done
  fi
} | tee "$SOAK/table"

awk -F'\t' 'NR > 1 && ($1 ~ /broken/ || $4 + $5 + $6 + $7 > 0) { bad = 1 } END { exit bad }' "$SOAK/table"
