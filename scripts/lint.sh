#!/usr/bin/env bash
# Checks format, clang-tidy and cppcheck over the product and the bench.
set -euo pipefail
source "$(dirname "$0")/lib.sh"
cd "$ROOT"

need_lint
PRODUCT=(app device info inventory team vlan)
mapfile -t SOURCES < <(find "${PRODUCT[@]}" include bench tests -name '*.cpp' -o -name '*.h' | sort)
mapfile -t UNITS < <(find "${PRODUCT[@]}" -name '*.cpp' | sort)

$CLANG_FORMAT --dry-run -Werror "${SOURCES[@]}"
# That it looks at some branches only is no finding; newer versions say so.
cppcheck --quiet --enable=warning,performance,portability --std=c++17 --platform=win64 \
  --suppress=normalCheckLevelMaxBranches --inline-suppr --error-exitcode=1 -I. -Iinclude "${PRODUCT[@]}" bench
# Clang reads the commands of the cross compiler, less its precompiled headers, and has to be told the
# target. With the trace on, what only the trace reads does not count as never read.
cmake --preset release -B build/lint -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON >/dev/null
printf '%s\0' "${UNITS[@]}" | xargs -0 -P "$(nproc)" -n 6 clang-tidy -p build/lint --quiet \
  --extra-arg=--target=x86_64-w64-mingw32 --extra-arg=-DQV_TRACE 2>&1 |
  { grep -v -E '^[0-9]+ warnings? (generated|treated)' || true; }
echo "lint: clean"
