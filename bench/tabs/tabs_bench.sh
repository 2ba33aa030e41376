#!/usr/bin/env bash
# tabs_bench.sh [OPTIONS]
#
# What many tabs, an idle app and a long session cost, printed as figures and
# ratios in one run. Runs inside a private headless desktop
# (tests/desktop-session) against pages served on 127.0.0.1.
#
#   tabs   ten tabs of one site against one tab: PSS of the whole process tree
#          (app, web and network processes), process count, and the time to
#          switch to the next tab (key press to the tab's colour on screen).
#          DefaultApp as built, DefaultApp with a web process per tab
#          (QUILT_TABS_PER_PROCESS=1, how it was before tabs shared), the
#          floor (tabs-bare-webkit: ten WebKitWebViews in a notebook with the
#          app's rendering settings and nothing else), the benchmark's own
#          share (the same with plain GTK pages, no engine), and GNOME Web and
#          Chromium with the same ten tabs when installed. Twenty switches.
#   idle   CPU time (% of one core) and wake-ups (context switches) per second
#          of the app and of its whole tree over --idle-seconds: window shown
#          but idle, window minimised, and with a 30 s refresh timer on.
#   long   open and close 200 tabs, then navigate 500 pages in one tab: the
#          app process's own RSS and PSS before, after each, and the ratio.
#
# Options:
#   --build DIR         build tree holding DefaultApp.app (default: $QUILT_BUILD_DIR or build)
#   --only LIST         phases to run, comma separated (tabs,idle,long)
#   --idle-seconds S    length of each idle sample (60)
#   --settle S          seconds to let pages settle before a memory sample (6)
#   --peers LIST        peers for the tabs phase (epiphany,chromium)
#
# Output: one line per figure and a final "RESULT {json}".
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
  echo "tabs_bench: no template bundle at $template (build first)" >&2
  exit 2
fi
if [[ -z "${QUILT_TABS_BENCH_SESSION:-}" ]]; then
  export QUILT_TABS_BENCH_SESSION=1
  exec "$root/tests/desktop-session" bash "$0" --build "$build" "${args[@]}"
fi
exec python3 "$here/tabs_bench.py" --template "$template" "${args[@]}"
