#!/usr/bin/env bash
# Checks format, clang-tidy and cppcheck over the product and the bench. Needs build/release configured.
set -euo pipefail
source "$(dirname "$0")/lib.sh"
cd "$ROOT"

need_lint
PRODUCT=(app device info inventory team vlan)
mapfile -t SOURCES < <(find "${PRODUCT[@]}" include bench tests -name '*.cpp' -o -name '*.h' | sort)
mapfile -t UNITS < <(find "${PRODUCT[@]}" -name '*.cpp' | sort)

$CLANG_FORMAT --dry-run -Werror "${SOURCES[@]}"
cppcheck --quiet --enable=warning,performance,portability --std=c++17 --platform=win64 \
  --inline-suppr --error-exitcode=1 -I. -Iinclude "${PRODUCT[@]}" bench
# Clang reads the commands of the cross compiler; it only has to be told the target. With the trace
# on, what only the trace reads does not count as never read.
printf '%s\0' "${UNITS[@]}" | xargs -0 -P "$(nproc)" -n 6 clang-tidy -p build/release --quiet \
  --extra-arg=--target=x86_64-w64-mingw32 --extra-arg=-DQV_TRACE 2>&1 |
  { grep -v -E '^[0-9]+ warnings? (generated|treated)' || true; }
echo "lint: clean"
