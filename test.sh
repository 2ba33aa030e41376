#!/usr/bin/env bash
# ./test.sh [CTEST ARGS...]
# Installs what is missing, builds, and runs the whole test suite inside a
# private headless desktop, then the fuzz targets and the core tests under
# the sanitizers (scripts/fuzz-and-sanitize.sh). Extra arguments
# go to ctest (e.g. -R Settings) and skip the sanitizer run, as does
# QUILT_SKIP_SANITIZERS=1. Fails when either part fails.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

source scripts/configure.sh
cmake --build "$BUILD" -j "$(nproc)"

tests/desktop-session ctest --test-dir "$BUILD" --output-on-failure -j2 --timeout 300 "$@"

if (($# == 0)) && [[ "${QUILT_SKIP_SANITIZERS:-0}" != 1 ]]; then
  scripts/fuzz-and-sanitize.sh
fi
