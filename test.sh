#!/usr/bin/env bash
# ./test.sh [CTEST ARGS...]
# Installs what is missing, builds, and runs the whole test suite inside a
# private headless desktop. Extra arguments go to ctest (e.g. -R Settings).
# The exit status is ctest's.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

scripts/install-deps.sh

# QUILT_BUILD_DIR picks another build tree (default: build). An existing tree
# keeps the generator it was made with; a new one uses Ninja when available.
BUILD=${QUILT_BUILD_DIR:-build}
generator=()
if [[ ! -f "$BUILD/CMakeCache.txt" ]] && command -v ninja >/dev/null 2>&1; then
  generator=(-G Ninja)
fi
cmake -S . -B "$BUILD" -DCMAKE_BUILD_TYPE=RelWithDebInfo "${generator[@]}"
cmake --build "$BUILD" -j "$(nproc)"

exec tests/desktop-session ctest --test-dir "$BUILD" --output-on-failure -j2 --timeout 300 "$@"
