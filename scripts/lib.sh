# What the scripts share: the packages, the display and the Wine prefix that they use.
# Sourced, never run. Everything that it starts is ended by `bench_down`.

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
BENCH_PREFIX=${BENCH_PREFIX:-$ROOT/build/wine}
BENCH_XVFB_PID=
BENCH_WM_PID=

# need PROGRAM|FILE PACKAGE ...: collects the packages whose program or file is missing.
MISSING=()
need() {
  local probe=$1
  shift
  if [[ $probe == /* ]]; then [[ -e $probe ]] || MISSING+=("$@")
  else command -v "$probe" >/dev/null 2>&1 || MISSING+=("$@"); fi
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
  need /usr/src/googletest/CMakeLists.txt googletest
  install_missing
}

need_lint() {
  need clang-format clang-format
  need clang-tidy clang-tidy
  need cppcheck cppcheck
  install_missing
}

# bench_up [DISPLAY]: a display of our own (or the caller's, when given) and a Wine prefix under build/.
bench_up() {
  trap bench_down EXIT
  export WINEPREFIX=$BENCH_PREFIX WINEDEBUG=${WINEDEBUG:--all} WINEARCH=win64
  export WINEDLLOVERRIDES="mscoree,mshtml,winemenubuilder.exe="
  if [[ -n ${1:-} ]]; then
    export DISPLAY=$1
  else
    local fifo
    fifo=$(mktemp -u) && mkfifo "$fifo"
    Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$fifo" >/dev/null 2>&1 &
    BENCH_XVFB_PID=$!
    local number
    read -r -t 30 number <"$fifo" || { echo "Xvfb did not start" >&2; return 1; }
    rm -f "$fifo"
    export DISPLAY=:$number
    openbox >/dev/null 2>&1 &
    BENCH_WM_PID=$!
  fi
  mkdir -p "$(dirname "$WINEPREFIX")"
  [[ -e $WINEPREFIX/system.reg ]] || timeout 120 wineboot -i >/dev/null 2>&1
  return 0
}

bench_down() {
  local status=$?
  [[ -d $BENCH_PREFIX ]] && WINEPREFIX=$BENCH_PREFIX timeout 30 wineserver -k >/dev/null 2>&1
  [[ -n $BENCH_WM_PID ]] && kill "$BENCH_WM_PID" 2>/dev/null
  [[ -n $BENCH_XVFB_PID ]] && kill "$BENCH_XVFB_PID" 2>/dev/null
  BENCH_WM_PID= BENCH_XVFB_PID=
  return $status
}

# build_preset NAME [CMAKE-BUILD-OPTION...]: configures once and builds.
build_preset() {
  (cd "$ROOT" && { [[ -e build/$1/build.ninja ]] || cmake --preset "$1" >/dev/null; } &&
    cmake --build --preset "$@")
}
