#!/usr/bin/env bash
# Builds the release executable, build/release/QvTeamCfg.exe, and nothing else.
# Installs the toolchain when it is missing.
set -euo pipefail
source "$(dirname "$0")/lib.sh"

need_toolchain
build_preset release
ls -l "$ROOT/build/release/QvTeamCfg.exe"
