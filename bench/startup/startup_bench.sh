#!/usr/bin/env bash
# startup_bench.sh [OPTIONS]
#
# Start-up cost of DefaultApp: the time from process start until a local page
# of one known colour is visibly painted on screen, and the total memory
# (PSS) of the app's whole process tree (the app, WebKit's web and network
# processes) --settle seconds later. Median of --runs runs after --warmup
# discarded runs. Runs inside a private headless desktop (tests/desktop-session).
#
# Options:
#   --build DIR        build tree holding DefaultApp.app (default: $QUILT_BUILD_DIR or build)
#   -n, --runs N       measured runs (5)             --warmup N   discarded runs first (1)
#   --settle S         seconds from visible page to the memory sample (3)
#   --poll-ms MS       pause between screen polls (5)
#   --min-pixels N     painted once N pixels show the page colour (40000)
#   --reuse-home       one HOME for all runs (default: a fresh HOME per run)
#   --peer-tool PATH   also measure peers with PATH (a startup_bench.sh taking
#                      presets) and print the ratios; --peers LIST picks them
#                      (default epiphany,chromium-app)
#   --env K=V          extra environment for the app (repeatable)
#   -v, --verbose      list each process with its PSS
#
# Output: one line per run, "median/min/max" lines and a final "RESULT {json}".
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)

if [[ "${1:-}" == "-h" || "${1:-}" == "--help" ]]; then
  sed -n '2,/^set -euo/p' "$0" | sed '$d; s/^# \{0,1\}//'
  exit 0
fi

build=${QUILT_BUILD_DIR:-$root/build}
args=()
while (($#)); do
  case "$1" in
    --build) build=$2; shift 2 ;;
    *) args+=("$1"); shift ;;
  esac
done
[[ "$build" = /* ]] || build=$PWD/$build
template=$build/DefaultApp.app
if [[ ! -x "$template/Contents/MacOS/DefaultApp" ]]; then
  echo "startup_bench: no template bundle at $template (build first)" >&2
  exit 2
fi

# A session of its own: nothing else paints on the screen being polled.
if [[ -z "${QUILT_STARTUP_BENCH_SESSION:-}" ]]; then
  export QUILT_STARTUP_BENCH_SESSION=1
  exec "$root/tests/desktop-session" bash "$0" --build "$build" "${args[@]}"
fi
exec python3 "$here/startup_bench.py" --template "$template" "${args[@]}"
