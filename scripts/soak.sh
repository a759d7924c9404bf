#!/usr/bin/env bash
# Runs everything that takes too long for a test, on machines side by side, and prints one table:
# operation, calls, runs, crashes, hangs, leaks, wrong outcomes, seconds. What was wrong with a run
# stands in build/soak/*.log. Hours on two cores.
#   soak.sh                    everything
#   soak.sh TASK...            these, and nothing else
#   soak.sh --every K ...      every K-th failing call only
#   soak.sh --go-on [TASK...]  what a run that was broken off had left, and these once more: of the same
#                              program on the same bench
# A TASK is the name of an operation, whose calls fail; "kills"; "restarts", the kills with a restart of
# the machine behind each; "cycles"; "hostile SEED", the machines from this one on; or "fuzz TARGET".
# Ends with an error when something was wrong and when something is left to be done.
set -euo pipefail
source "$(dirname "$0")/lib.sh"

# plan: all tasks, a line each. done/: the lines that each task has printed, there once it is over and
# nowhere else, so that a task whose file is missing is still to be done. tasks: what nobody has begun
# yet. *.log: what the tasks have said.
SOAK=$ROOT/build/soak
MACHINES=${SOAK_MACHINES:-$(nproc)}
# Operations on many adapters make so many calls that each is shared out between the machines.
SHARED='create-8 create-8-vlans adapter-add-last-vlan team-add-last-vlan'
HOSTILE=5000
HOSTILE_SHARE=500
LONGEST=36000 # seconds of one task

# What all lines of one table are about, and who judges it.
PROGRAM=(app bench cmake device include info inventory res team vlan CMakeLists.txt CMakePresets.json)
JUDGES=(tests)

give_up() {
  echo "$1" >&2
  exit 2
}

# fingerprint PATH...: of the files there, committed or not.
fingerprint() {
  git -C "$ROOT" ls-files -z --cached --others --exclude-standard -- "$@" ':(exclude)*.md' |
    sort -zu | (cd "$ROOT" && { xargs -0 sha256sum 2>&1 || true; }) # some may have been deleted
}

# key TASK: its name among the files.
key() {
  printf %s "$1" | tr -cs '[:alnum:]_' -
}

# next_task: takes the first line out of the list of tasks.
next_task() {
  flock "$SOAK/lock" bash -c 'head -n 1 "$1" && sed -i 1d "$1"' _ "$SOAK/tasks"
}

# lines_of NAME LOG STATUS: what a program has printed for the table. One that ends with an error shows
# what was wrong, or a line says that it was broken.
lines_of() {
  local lines
  lines=$(tr -d '\r' <"$2" | grep -P '^[^\t]+\t(\d+|-)(\t\d+){6}$' || true)
  [[ -z $lines ]] || printf '%s\n' "$lines"
  [[ $3 -eq 0 ]] || echo "$1 ended with $3, see $2" >&2
  if [[ -z $lines ]] || { [[ $3 -ne 0 ]] && ! shows_fault <<<"$lines"; }; then
    printf '%s (broken)\t0\t0\t%d\t%d\t0\t0\t0\n' "$1" "$(($3 != 124))" "$(($3 == 124))"
  fi
}

# shows_fault <LINES: true when something was wrong in one of them.
shows_fault() {
  awk -F'\t' '$1 ~ /broken/ || $4 + $5 + $6 + $7 > 0 { bad = 1 } END { exit !bad }'
}

# long_run TASK NAME COMMAND...: prints the lines that the command has printed.
long_run() {
  local name=$2 log status=0
  log=$SOAK/$(key "$1").log
  shift 2
  timeout "$LONGEST" "$@" </dev/null >"$log" 2>&1 || status=$?
  lines_of "$name" "$log" "$status"
}

# carry_out TASK: prints lines of the table.
carry_out() {
  local words notes
  read -ra words <<<"$1"
  case ${words[0]} in
    faults)
      notes=$(key "$1").notes.log
      rm -f "$SOAK/$notes"
      long_run "$1" "${words[2]}" wine fault_sweep.exe "${words[@]:1}" --log "../soak/$notes"
      ;;
    kills) QV_KILLS=all long_run "$1" kills wine kill_sweep.exe ;;
    restarts) QV_KILLS=all QV_RESTART=1 long_run "$1" restarts wine kill_sweep.exe ;;
    cycles) QV_CYCLES=1000 long_run "$1" cycles wine cycle_soak.exe ;;
    hostile)
      long_run "$1" "$1" wine hostile_machines.exe --seed "${words[1]}" --count "$HOSTILE_SHARE" \
        --table
      ;;
    fuzz) long_run "$1" "$1" "$ROOT/scripts/fuzz.sh" --built 1000000 "${words[1]}" ;;
  esac
}

# fresh_machine: nothing stands on it that an earlier task has left, and whatever of Wine an operation
# starts runs already: the program looks at all processes, so one more of them is some calls more.
fresh_machine() {
  timeout 120 wine qvbench.exe reset </dev/null >&2 || echo 'A machine was not taken down.' >&2
  timeout 60 wineserver -k || true # fails when the server has ended by itself
  timeout 60 wineserver -w
  keep_wine_up
  timeout 300 wine fault_sweep.exe --operation create-2 --every 1000000 --log NUL \
    </dev/null >/dev/null 2>&1 || true # its own task tells what is wrong with it
}

# work MACHINE: carries out tasks on this machine until none is left. What ends because somebody has
# ended everything is still to be done.
work() {
  local machine=BENCH_MACHINE_$1 task
  read -r DISPLAY WINEPREFIX <<<"${!machine}"
  export DISPLAY WINEPREFIX
  while task=$(next_task) && [[ -n $task ]]; do
    # What Wine leaves running is no worker.
    [[ $task == fuzz* ]] || fresh_machine 9>&-
    carry_out "$task" >"$SOAK/doing-$1" 9>&-
    [[ ! -e $SOAK/stopped ]] || return 1
    mv "$SOAK/doing-$1" "$SOAK/done/$(key "$task")"
  done
}

# undone: the tasks that are not over.
undone() {
  local task
  while read -r task; do
    [[ -e $SOAK/done/$(key "$task") ]] || echo "$task"
  done <"$SOAK/plan"
}

# merge: adds up the lines of one operation. Shares of a fault sweep have to have counted the same
# calls, or what they leave to each other is not the same.
merge() {
  awk -F'\t' -v OFS='\t' '
    !($1 in runs) { order[++n] = $1; calls[$1] = $2 }
    { if ($1 == "hostile machines") calls[$1] += runs[$1] ? $2 : 0
      else if (calls[$1] != $2) { broken[$1] = " (broken)"
        print $1 ": shares of " calls[$1] " and of " $2 " calls" >"/dev/stderr" }
      runs[$1] += $3; crashes[$1] += $4; hangs[$1] += $5; leaks[$1] += $6; wrong[$1] += $7
      seconds[$1] += $8 }
    END { for (i = 1; i <= n; i++) { o = order[i]
      print o broken[o], calls[o], runs[o], crashes[o], hangs[o], leaks[o], wrong[o], seconds[o] } }'
}

# table: of all tasks that are over, in the order of the plan.
table() {
  local task
  printf 'operation\tcalls\truns\tcrashes\thangs\tleaks\twrong\tseconds\n'
  while read -r task; do
    [[ ! -e $SOAK/done/$(key "$task") ]] || cat "$SOAK/done/$(key "$task")"
  done <"$SOAK/plan" | merge
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

# all_tasks EVERY: what takes longest comes first.
all_tasks() {
  local seed
  printf '%s\n' kills restarts cycles
  fault_tasks "$1" "${OPERATIONS[@]}"
  for ((seed = 1; seed <= HOSTILE; seed += HOSTILE_SHARE)); do echo "hostile $seed"; done
  printf 'fuzz %s\n' "${TARGETS[@]}"
}

# set_up: builds, brings up the machines and asks what there is to do.
set_up() {
  local list
  build_preset release >&2
  build_preset debug --target sweeps >&2
  build_fuzz >&2
  bench_up_machines "$MACHINES"
  export QV_PROGRAM
  QV_PROGRAM=$(winepath -w "$ROOT/build/release/QvTeamCfg.exe")
  cd "$ROOT/build/debug"
  list=$(timeout 300 wine fault_sweep.exe --list --log NUL </dev/null | tr -d '\r') && [[ -n $list ]] ||
    give_up 'The fault sweep does not tell its operations.'
  mapfile -t OPERATIONS <<<"$list"
  list=$("$ROOT/build/fuzz/fuzz" --list) && [[ -n $list ]] ||
    give_up 'The fuzzer does not tell its targets.'
  mapfile -t TARGETS <<<"$list"
}

# tasks_of EVERY NAME...: of what the caller names, an operation or a task.
tasks_of() {
  local every=$1 name
  shift
  for name in "$@"; do
    if [[ " ${OPERATIONS[*]} " == *" $name "* ]]; then fault_tasks "$every" "$name"; else echo "$name"; fi
  done
}

# write_plan: what it reads becomes the plan, at once and whole.
write_plan() {
  awk '!seen[$0]++' >"$SOAK/plan.new"
  mv "$SOAK/plan.new" "$SOAK/plan"
}

# begin EVERY [NAME...]: a new run. Without its plan, the old one cannot be gone on with.
begin() {
  local every=$1
  shift
  rm -f "$SOAK/plan"
  rm -rf "$SOAK"
  mkdir -p "$SOAK/done"
  echo "$SOURCES" >"$SOAK/sources"
  echo "$JUDGED_BY" >"$SOAK/judges"
  if [[ $# -eq 0 ]]; then all_tasks "$every"; else tasks_of "$every" "$@"; fi | write_plan
}

# may_go_on: gives up unless the lines to come can stand in the old table.
may_go_on() {
  [[ -e $SOAK/plan ]] || give_up 'There is no run to go on with.'
  cmp -s - "$SOAK/sources" <<<"$SOURCES" ||
    give_up 'Program or bench is another one than that of the run.'
  cmp -s - "$SOAK/judges" <<<"$JUDGED_BY" ||
    echo 'The tests have changed: what comes now is judged by others than what there is.' >&2
}

# once_more NAME...
once_more() {
  local name tasks task
  for name in "$@"; do
    if tasks=$(grep -e "^faults --operation $name " -e "^$name\$" "$SOAK/plan"); then
      while read -r task; do rm -f "$SOAK/done/$(key "$task")"; done <<<"$tasks"
    else
      { cat "$SOAK/plan" && tasks_of 1 "$name"; } | write_plan
    fi
  done
}

# end_session LEADER: whatever of it still runs.
end_session() {
  local tries
  for ((tries = 0; tries < 100; tries++)); do
    pkill -KILL -s "$1" -r D,R,S,T || break
    sleep 0.05
  done
}

# end_workers: each is the head of a session, so that everything that it has started ends with it, but
# for what Wine has taken out of it, which ends with the bench.
end_workers() {
  local worker
  trap '' INT TERM HUP
  [[ -n $WORKING ]] || return 0
  touch "$SOAK/stopped"
  for worker in $(jobs -rp); do
    [[ " ${BENCH_PIDS[*]} " != *" $worker "* ]] || continue
    # One that has just been started is not at the head of its session yet.
    kill -KILL "$worker" 2>/dev/null || true
    WORKERS[$worker]=1
  done
  for worker in "${!WORKERS[@]}"; do end_session "$worker"; done
  echo 'Broken off; --go-on takes up the rest.' >&2
}

if [[ ${1:-} == --work ]]; then
  stay_on_processor "$2"
  work "$2"
  exit
fi

every='' go_on='' wanted=() WORKING=''
while [[ $# -ne 0 ]]; do
  case $1 in
    --every)
      every=${2:-none}
      [[ $every =~ ^[1-9][0-9]*$ ]] || give_up "every which call? $every"
      shift
      ;;
    --go-on) go_on=1 ;;
    -*) give_up "no option $1" ;;
    hostile | fuzz)
      wanted+=("$1 ${2:-}")
      shift "$(($# > 1))"
      ;;
    *) wanted+=("$1") ;;
  esac
  shift
done
[[ -z $go_on || -z $every ]] || give_up 'The plan of the run says which calls.'

need git git
need pkill procps
need_toolchain
need_bench
need_fuzz

# From here on a build or a program is waited for, and what has been started is ended.
trap 'exit 1' INT TERM HUP
mkdir -p "$ROOT/build"
exec 9>"$ROOT/build/soak.lock"
flock -n 9 || give_up 'Another run, or a worker of it, is still about.'
SOURCES=$(fingerprint "${PROGRAM[@]}")
JUDGED_BY=$(fingerprint "${JUDGES[@]}")
[[ -z $go_on ]] || may_go_on
set_up 9>&-
for name in "${wanted[@]}"; do
  grep -qxF -e "$name" <(printf '%s\n' "${OPERATIONS[@]}" && all_tasks 1) || give_up "no task \"$name\""
done
if [[ -n $go_on ]]; then once_more "${wanted[@]}"; else begin "${every:-1}" "${wanted[@]}"; fi
rm -f "$SOAK/stopped"
undone >"$SOAK/tasks"

declare -A WORKERS # by process id
trap 'end_workers; bench_down' EXIT
WORKING=1
for ((machine = 0; machine < MACHINES; machine++)); do
  setsid bash "$ROOT/scripts/soak.sh" --work "$machine" &
  WORKERS[$!]=1
done
while [[ ${#WORKERS[@]} -ne 0 ]]; do
  wait -n -p ended "${!WORKERS[@]}" || true
  end_session "$ended"
  unset "WORKERS[$ended]"
done
WORKING=''

table >"$SOAK/table.new"
cat "$SOAK/table.new"
if [[ -n $(undone) ]]; then
  rm -f "$SOAK/table" "$SOAK/table.new"
  echo 'Not everything was done; --go-on takes up the rest.' >&2
  exit 1
fi
mv "$SOAK/table.new" "$SOAK/table"
! tail -n +2 "$SOAK/table" | shows_fault
