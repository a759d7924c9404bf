# What the scripts share: the packages, the display and the Wine prefix that they use.
# Sourced, never run. Everything that it starts is ended by `bench_down`.

# Wine needs 0x7ffe0000 for itself. Once in some 2,000 starts the kernel's random choice has put the
# heap of Wine's loader there, and the program ends without a word. So whatever runs a script of ours
# runs without that choice, where it is allowed to.
if [[ -f $0 && -r /proc/self/personality ]] && ! ((0x$(</proc/self/personality) & 0x40000)); then
  if setarch --addr-no-randomize true 2>/dev/null; then
    exec setarch --addr-no-randomize "$BASH" "$0" "$@"
  fi
  echo 'Addresses cannot be kept where they are: a program of Wine may not start.' >&2
fi

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
BENCH_PREFIX=${BENCH_PREFIX:-$ROOT/build/wine}
BENCH_PIDS=()
BENCH_PREFIXES=()

# need PROGRAM|FILE PACKAGE ...: collects the packages whose program or file is missing.
MISSING=()
need() {
  local probe=$1
  shift
  if [[ $probe == /* ]]; then [[ -e $probe ]] || MISSING+=("$@")
  else command -v "$probe" >/dev/null 2>&1 || MISSING+=("$@"); fi
}

# need_package PACKAGE ...: the same for packages whose files lie where their version says.
need_package() {
  local package
  for package in "$@"; do
    [[ $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) == installed ]] ||
      MISSING+=("$package")
  done
}

install_missing() {
  [[ ${#MISSING[@]} -eq 0 ]] && return 0
  echo "Installing: ${MISSING[*]}" >&2
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq && apt-get install -y -qq --no-install-recommends "${MISSING[@]}" >/dev/null
  MISSING=()
}

need_toolchain() {
  need x86_64-w64-mingw32-g++-posix g++-mingw-w64-x86-64
  need cmake cmake
  need ninja ninja-build
  install_missing
}

need_bench() {
  need /usr/lib/wine/wine64 wine wine64
  need Xvfb xvfb
  need openbox openbox
  need import imagemagick
  need ip iproute2
  need ping iputils-ping
  need ld.lld lld
  need /usr/src/googletest/CMakeLists.txt googletest
  install_missing
}

# Versions of clang-format differ in what they make of a file; this one is in both Debian 12 and 13.
CLANG_FORMAT=clang-format-19

need_lint() {
  need $CLANG_FORMAT $CLANG_FORMAT
  need cmake cmake
  need ninja ninja-build
  need clang-tidy clang-tidy
  need cppcheck cppcheck
  install_missing
}

# Clang comes with clang-tidy; what it lacks is the sanitizers' and the fuzzer's run-time libraries.
need_fuzz() {
  need clang++ clang
  need_package libclang-rt-dev
  need cmake cmake
  need ninja ninja-build
  install_missing
}

# open_display: a display and a window manager of our own.
open_display() {
  local fifo number
  fifo=$(mktemp -u) && mkfifo "$fifo"
  Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$fifo" >/dev/null 2>&1 &
  BENCH_PIDS+=($!)
  read -r -t 30 number <"$fifo" || { echo "Xvfb did not start" >&2; return 1; }
  rm -f "$fifo"
  export DISPLAY=:$number
  openbox >/dev/null 2>&1 &
  BENCH_PIDS+=($!)
}

# bench_up [DISPLAY]: a Wine prefix under build/, on the display given or on one of our own.
bench_up() {
  trap bench_down EXIT
  export WINEPREFIX=$BENCH_PREFIX WINEDEBUG=${WINEDEBUG:--all} WINEARCH=win64
  # Without winedbg a program that crashes ends at once.
  export WINEDLLOVERRIDES="mscoree,mshtml,winemenubuilder.exe,winedbg.exe="
  BENCH_PREFIXES=("$WINEPREFIX")
  if [[ -n ${1:-} ]]; then export DISPLAY=$1
  else open_display; fi
  mkdir -p "$WINEPREFIX"
  if [[ ! -e $WINEPREFIX/system.reg ]]; then
    timeout 120 wineboot -i >/dev/null 2>&1
    # Drivers that start in the session of the first boot do not stay.
    timeout 60 wineserver -w
  fi
  keep_wine_up
}

# stay_on_processor NUMBER: keeps the shell, and what it starts, on one of the processors that it may
# use. A program asks Wine's server all the time, and that takes a fifth of the time where the two share
# a processor.
stay_on_processor() {
  local list range processors=()
  list=$(sed -n 's/^Cpus_allowed_list:[[:space:]]*//p' /proc/self/status)
  for range in ${list//,/ }; do
    mapfile -t -O "${#processors[@]}" processors < <(seq "${range%-*}" "${range#*-}")
  done
  [[ ${#processors[@]} -eq 0 ]] ||
    taskset -cp "${processors[$1 % ${#processors[@]}]}" "$BASHPID" >/dev/null 2>&1 || true
}

# keep_wine_up [PROCESSOR]: the prefix's services and drivers outlive the pauses between two programs.
keep_wine_up() (
  stay_on_processor "${1:-0}"
  # Fails when a server runs already.
  timeout 30 wineserver -p120 2>/dev/null || true
)

# bench_up_machines COUNT: as many prefixes, each on a display of its own, so that tests can run side
# by side. BENCH_MACHINE_0, ... hold "display prefix".
bench_up_machines() {
  local machine prefix
  bench_up
  export BENCH_MACHINE_0="$DISPLAY $WINEPREFIX"
  for ((machine = 1; machine < $1; machine++)); do
    prefix=$BENCH_PREFIX-$machine
    if [[ ! -e $prefix/system.reg ]]; then
      timeout 60 wineserver -k || true
      timeout 60 wineserver -w
      rm -rf "$prefix.new"
      cp -a "$BENCH_PREFIX" "$prefix.new"
      mv "$prefix.new" "$prefix"
    fi
    BENCH_PREFIXES+=("$prefix")
    WINEPREFIX=$prefix keep_wine_up "$machine"
    open_display
    export "BENCH_MACHINE_$machine=$DISPLAY $prefix"
  done
  keep_wine_up
  read -r DISPLAY WINEPREFIX <<<"$BENCH_MACHINE_0"
}

# use_reserved_machine: the machine that CTest has set aside for this test, and its processor; without
# CTest, the caller's own.
use_reserved_machine() {
  local machine
  [[ ${CTEST_RESOURCE_GROUP_0_MACHINES:-} =~ id:([0-9]+) ]] || return 0
  machine=BENCH_MACHINE_${BASH_REMATCH[1]}
  read -r DISPLAY WINEPREFIX <<<"${!machine}"
  export DISPLAY WINEPREFIX
  stay_on_processor "${BASH_REMATCH[1]}"
}

bench_down() {
  local status=$? prefix pid
  for prefix in "${BENCH_PREFIXES[@]}"; do
    # Fails when the server has ended by itself.
    WINEPREFIX=$prefix timeout 30 wineserver -k >/dev/null 2>&1 || true
  done
  for pid in "${BENCH_PIDS[@]}"; do
    kill "$pid" 2>/dev/null || true
  done
  BENCH_PREFIXES=() BENCH_PIDS=()
  return $status
}

# build_fuzz: the fuzz targets, build/fuzz/fuzz, for this computer.
build_fuzz() {
  [[ -e $ROOT/build/fuzz/build.ninja ]] ||
    cmake -S "$ROOT/tests/fuzz" -B "$ROOT/build/fuzz" -G Ninja -DCMAKE_CXX_COMPILER=clang++ >/dev/null
  cmake --build "$ROOT/build/fuzz"
}

# build_preset NAME [CMAKE-BUILD-OPTION...]: configures once and builds.
build_preset() {
  (cd "$ROOT" && { [[ -e build/$1/build.ninja ]] || cmake --preset "$1" >/dev/null; } &&
    cmake --build --preset "$@")
}
