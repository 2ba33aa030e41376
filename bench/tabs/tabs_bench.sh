#!/usr/bin/env bash
# tabs_bench.sh [OPTIONS]
#
# What many tabs and a long session cost, printed as figures and ratios in
# one run (an idle app: bench/idle/idle_bench.sh). Runs inside a private
# headless desktop (tests/desktop-session) against pages served on 127.0.0.1.
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
#   long   open and close 200 tabs, then navigate 500 pages in one tab: the
#          app process's own RSS and PSS before, after each, and the ratio.
#
# Options:
#   --build DIR         build tree holding DefaultApp.app (default: $QUILT_BUILD_DIR or build)
#   --only LIST         phases to run, comma separated (tabs,long)
#   --settle S          seconds to let pages settle before a memory sample (6)
#   --peers LIST        peers for the tabs phase (epiphany,chromium)
#
# Output: one line per figure and a final "RESULT {json}".
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source "$here/../bench-start.sh"
bench_start tabs_bench "$here/tabs_bench.py" "$@"
