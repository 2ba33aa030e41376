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
source "$here/../bench-start.sh"
bench_start startup_bench "$here/startup_bench.py" "$@"
