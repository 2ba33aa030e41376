#!/usr/bin/env bash
# scripts/fuzz-and-sanitize.sh [SECONDS]
# Builds the sanitizer tree (clang-15: AddressSanitizer + UndefinedBehavior-
# Sanitizer, every report fatal, libFuzzer targets) and
#   1. runs every fuzz target for SECONDS (default 10) from its seeds in
#      fuzz/corpus/<target>, two at a time, and prints a table of them;
#   2. runs the core tests of that tree (stores, values, the navigation,
#      response and download decisions, page messages, window models, menus) inside
#      a private headless desktop. The glue tests over real WebKit pages are
#      left out: they need the whole app built a second time, which costs
#      more than the CI budget allows.
# Exits non-zero on the first finding: a crash, a sanitizer report, a leak,
# a timeout or a failed test. A crashing input is left in
# <tree>/fuzz-artifacts/; rerun it with <tree>/fuzz/fuzz_<target> FILE.
#
# Environment knobs:
#   QUILT_ASAN_BUILD_DIR  the tree (build-asan)
#   QUILT_FUZZ_TARGETS    a subset of the targets, blank-separated (all)
#   QUILT_FUZZ_ONLY=1     fuzz only, no tests
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
ROOT=$PWD

SECONDS_EACH=${1:-10}
BUILD=${QUILT_ASAN_BUILD_DIR:-build-asan}
CORES=$(nproc)
JOBS=$((CORES < 2 ? 1 : 2))

# Every test program of the core, as tests/core declares them: ctest runs all
# of that folder, and a program left unbuilt would fail as "not built".
mapfile -t CORE_TESTS < <(sed -n 's/^quilt_add_test(\([A-Za-z0-9_]*\).*/\1/p' "$ROOT/tests/core/CMakeLists.txt")

step() { echo "== fuzz-and-sanitize: $* ($(date +%T))"; }

if [[ ! -f "$BUILD/CMakeCache.txt" ]]; then
  CC=clang-15 CXX=clang++-15 cmake -S . -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQUILT_FUZZ=ON
fi
targets=(fuzzers)
[[ "${QUILT_FUZZ_ONLY:-0}" == 1 ]] || targets+=("${CORE_TESTS[@]}")
step "building ${targets[*]}"
nice cmake --build "$BUILD" -j "$CORES" --target "${targets[@]}"

# Leaks count as findings; GLib's and WebKit's own process-lifetime
# allocations are suppressed narrowly in the file named here.
# Slow unwinding on malloc: the suppressions match frames inside GLib,
# which is built without frame pointers.
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:fast_unwind_on_malloc=0:strict_string_checks=1:detect_stack_use_after_return=1:check_initialization_order=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
export LSAN_OPTIONS=suppressions=$ROOT/scripts/lsan.supp:print_suppressions=0
# Reports name functions and lines when a symbolizer is installed.
for symbolizer in llvm-symbolizer-15 llvm-symbolizer; do
  if command -v "$symbolizer" >/dev/null 2>&1; then
    export ASAN_SYMBOLIZER_PATH=$(command -v "$symbolizer")
    break
  fi
done
# The stores the fuzzers load write their files to a RAM folder when there is one.
if [[ -d /dev/shm && -w /dev/shm ]]; then
  export TMPDIR=/dev/shm
fi

# --- fuzzing ---------------------------------------------------------------
names=()
if [[ -n "${QUILT_FUZZ_TARGETS:-}" ]]; then
  read -r -a names <<<"$QUILT_FUZZ_TARGETS"
else
  for dir in fuzz/corpus/*/; do names+=("$(basename "$dir")"); done
fi
WORK=$BUILD/fuzz-work
ARTIFACTS=$BUILD/fuzz-artifacts
mkdir -p "$WORK" "$ARTIFACTS"

fuzz_one() {
  local name=$1 exe=$BUILD/fuzz/fuzz_$1 corpus=$WORK/$1
  mkdir -p "$corpus"
  local t0=$SECONDS
  # New inputs go to the working corpus; the committed seeds stay small.
  "$exe" -max_total_time="$SECONDS_EACH" -timeout=10 -rss_limit_mb=2048 -max_len=65536 \
    -print_final_stats=1 -artifact_prefix="$ARTIFACTS/$name-" "$corpus" "fuzz/corpus/$name" \
    >"$WORK/$name.log" 2>&1 || true
  echo $((SECONDS - t0)) >"$WORK/$name.seconds"
}

step "fuzzing ${#names[@]} targets, ${SECONDS_EACH}s each, $JOBS at a time"
declare -A status=()
running=0
for name in "${names[@]}"; do
  if [[ ! -x "$BUILD/fuzz/fuzz_$name" ]]; then
    echo "fuzz-and-sanitize: no fuzz target '$name'" >&2
    exit 2
  fi
  if ((running >= JOBS)); then
    wait -n || true
    running=$((running - 1))
  fi
  fuzz_one "$name" &
  running=$((running + 1))
done
wait || true

failed=()
printf '%-22s %8s %8s %8s %13s  %s\n' target seconds runs exec/s corpus result
for name in "${names[@]}"; do
  log=$WORK/$name.log
  stat() { sed -n "s/^stat::$1: *//p" "$log" | tail -1; }
  runs=$(stat number_of_executed_units)
  rate=$(stat average_exec_per_sec)
  took=$(cat "$WORK/$name.seconds" 2>/dev/null || echo '?')
  files=$(find "$WORK/$name" -type f | wc -l)
  bytes=$(du -sb "$WORK/$name" | cut -f1)
  result=ok
  if ! grep -q '^Done [0-9]* runs' "$log"; then
    result=FINDING
    failed+=("$name")
  fi
  printf '%-22s %8s %8s %8s %5s %6s  %s\n' "$name" "$took" "${runs:-?}" "${rate:-?}" \
    "$files" "$((bytes / 1024))K" "$result"
done
for name in "${failed[@]}"; do
  echo "---- $name: $WORK/$name.log" >&2
  grep -E -A40 '^==[0-9]+==|runtime error|^SUMMARY|deadly signal|ERROR: libFuzzer' "$WORK/$name.log" | head -80 >&2
done
if ((${#failed[@]})); then
  echo "fuzz-and-sanitize: findings in ${failed[*]} (inputs in $ARTIFACTS)" >&2
  exit 1
fi
[[ "${QUILT_FUZZ_ONLY:-0}" == 1 ]] && exit 0

# --- tests under the sanitizers ----------------------------------------------
step "core tests under AddressSanitizer + UndefinedBehaviorSanitizer"
# Instrumented code runs several times slower: the crash-safety test alone
# (40 processes each saving a 20 000-entry history) takes about five minutes.
tests/desktop-session ctest --test-dir "$BUILD/tests/core" --output-on-failure -j "$JOBS" --timeout 900
