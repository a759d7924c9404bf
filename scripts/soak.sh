#!/usr/bin/env bash
# Runs everything that takes too long for a test, on machines side by side, and prints one table:
# operation, calls, runs, crashes, hangs, leaks, wrong outcomes, seconds. What was wrong with a run
# stands in build/soak/*.log. Hours on two cores.
#   soak.sh                  everything
#   soak.sh --every K        every K-th failing call only
#   soak.sh OPERATION...     the fault sweep of these operations, and nothing else
#   soak.sh --go-on [OPERATION...]
#                            what a run that was broken off had left, and these operations once more:
#                            of the same program on the same bench
set -euo pipefail
source "$(dirname "$0")/lib.sh"

SOAK=$ROOT/build/soak
MACHINES=${SOAK_MACHINES:-$(nproc)}
# Operations on many adapters make so many calls that each is shared out between the machines.
SHARED='create-8 create-8-vlans adapter-add-last-vlan team-add-last-vlan'
HOSTILE=5000
HOSTILE_SHARE=500

# sources: names what all lines of one table are about.
sources() {
  local folders=(app bench device include info inventory res team vlan)
  git -C "$ROOT" ls-tree HEAD "${folders[@]}"
  git -C "$ROOT" diff HEAD -- "${folders[@]}"
}

# next_task MACHINE: takes the first line out of the list of tasks; it stays with the machine until
# the task is done.
next_task() {
  flock "$SOAK/lock" bash -c 'head -n 1 "$1" | tee "$2" && sed -i 1d "$1"' _ "$SOAK/tasks" \
    "$SOAK/begun-$1"
}

# lines_of LOG: what a program has printed for the table, or a line that says that it printed none.
lines_of() {
  local lines
  lines=$(tr -d '\r' <"$2" | grep -P '^[^\t]+\t(\d+|-)(\t\d+){6}$' || true)
  echo "${lines:-$1 (broken)$(printf '\t0\t0\t1\t0\t0\t0\t0')}"
}

# long_run NAME COMMAND...: a program that ends without a line of the table has crashed.
long_run() {
  local name=$1 log=$SOAK/${1// /-}.log
  shift
  timeout 10000 "$@" </dev/null >"$log" 2>&1 || echo "$name ended with $?, see $log" >&2
  lines_of "$name" "$log"
}

# carry_out MACHINE TASK ARGUMENTS...: prints lines of the table.
carry_out() {
  local machine=$1 task=$2
  shift 2
  case $task in
    faults)
      # A sweep whose runs went wrong ends with an error; its table tells.
      wine fault_sweep.exe "$@" --log "$(winepath -w "$SOAK/faults-$machine.log")" </dev/null \
        2>>"$SOAK/errors-$machine.log" | tr -d '\r' || true
      ;;
    kills) QV_KILLS=all long_run kills wine kill_sweep.exe ;;
    cycles) QV_CYCLES=1000 long_run cycles wine cycle_soak.exe ;;
    hostile)
      long_run "hostile $1" wine hostile_machines.exe --seed "$1" --count "$HOSTILE_SHARE" --table
      ;;
    fuzz) long_run "fuzz $1" "$ROOT/scripts/fuzz.sh" 1000000 "$1" ;;
  esac
}

# work MACHINE: carries out tasks on this machine until none is left, or until one prints nothing,
# because somebody has ended it: that one is still to be done.
work() {
  local machine=BENCH_MACHINE_$1 task
  read -r DISPLAY WINEPREFIX <<<"${!machine}"
  export DISPLAY WINEPREFIX
  while task=$(next_task "$1") && [[ -n $task ]]; do
    # shellcheck disable=SC2086
    carry_out "$1" $task >"$SOAK/lines-$1"
    [[ -s $SOAK/lines-$1 && ! -e $SOAK/stopped ]] || return 1
    cat "$SOAK/lines-$1" >>"$SOAK/part-$1.table"
    rm "$SOAK/begun-$1"
  done
}

# merge: adds up the lines of one operation. Shares of a fault sweep have all counted the same calls.
merge() {
  awk -F'\t' -v OFS='\t' '
    !($1 in runs) { order[++n] = $1; calls[$1] = $2 }
    { if ($1 == "hostile machines") calls[$1] += runs[$1] ? $2 : 0
      runs[$1] += $3; crashes[$1] += $4; hangs[$1] += $5; leaks[$1] += $6; wrong[$1] += $7
      seconds[$1] += $8 }
    END { for (i = 1; i <= n; i++) { o = order[i]
      print o, calls[o], runs[o], crashes[o], hangs[o], leaks[o], wrong[o], seconds[o] } }' "$@"
}

# fault_tasks EVERY OPERATION...
fault_tasks() {
  local every=$1 operation shard
  shift
  for operation in "$@"; do
    if [[ " $SHARED " == *" $operation "* ]]; then
      for ((shard = 0; shard < 4; shard++)); do
        echo "faults --operation $operation --shard $shard/4 --every $every"
      done
    else
      echo "faults --operation $operation --every $every"
    fi
  done
}

# tasks [--every K] [OPERATION...]: what takes longest comes first.
tasks() {
  local every=1 seed
  if [[ ${1:-} == --every ]]; then
    every=$2
    shift 2
  fi
  if [[ $# -ne 0 ]]; then
    fault_tasks "$every" "$@"
    return
  fi
  printf '%s\n' kills cycles
  mapfile -t operations < <(wine fault_sweep.exe --list --log NUL </dev/null | tr -d '\r')
  fault_tasks "$every" "${operations[@]}"
  for ((seed = 1; seed <= HOSTILE; seed += HOSTILE_SHARE)); do echo "hostile $seed"; done
  "$ROOT/build/fuzz/fuzz" --list | sed 's/^/fuzz /'
}

need git git
need_toolchain
need_bench
need_fuzz
build_preset release >&2
build_preset debug --target sweeps >&2
build_fuzz >&2
bench_up_machines "$MACHINES"
export QV_PROGRAM
QV_PROGRAM=$(winepath -w "$ROOT/build/release/QvTeamCfg.exe")
cd "$ROOT/build/debug"

if [[ ${1:-} == --go-on ]]; then
  sources | cmp -s - "$SOAK/sources" || { echo 'Program or bench is another one than that of the run.' >&2; exit 2; }
  shift
  for operation in "$@"; do sed -i "/^$operation\t/d" "$SOAK"/part-*.table; done
  { fault_tasks 1 "$@" && cat "$SOAK"/begun-* "$SOAK/tasks"; } >"$SOAK/left" 2>/dev/null || true
  rm -f "$SOAK"/begun-* "$SOAK/stopped"
  mv "$SOAK/left" "$SOAK/tasks"
else
  rm -rf "$SOAK"
  mkdir -p "$SOAK"
  sources >"$SOAK/sources"
  tasks "$@" >"$SOAK/tasks"
fi

# What ends now was not done.
trap 'touch "$SOAK/stopped"; exit 1' INT TERM
workers=()
for ((machine = 0; machine < MACHINES; machine++)); do
  work "$machine" &
  workers+=($!)
done
for worker in "${workers[@]}"; do wait "$worker" || echo 'Broken off; --go-on takes up the rest.' >&2; done
{
  printf 'operation\tcalls\truns\tcrashes\thangs\tleaks\twrong\tseconds\n'
  merge "$SOAK"/part-*.table
} | tee "$SOAK/table"

awk -F'\t' 'NR > 1 && ($1 ~ /broken/ || $4 + $5 + $6 + $7 > 0) { bad = 1 } END { exit bad }' "$SOAK/table"
