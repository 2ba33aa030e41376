#!/usr/bin/env bash
# idle_bench.sh [OPTIONS]
#
# What an app left open costs when nothing changes on its page: CPU time
# (% of one core) and wake-ups (context switches of every thread) per second
# of the app process and of its whole tree (app, web and network processes),
# each over --idle-seconds, in a private headless desktop
# (tests/desktop-session), against an inbox-like page of some 5 000 nodes
# served on 127.0.0.1 (also as a proxy for the watched mail host):
#
#   shown            window shown, page idle, the pointer off the window
#   pointer_over_page the pointer moved onto the page and left there (the page
#                    scrolls: the engine shows and fades its overlay scrollbar)
#   minimised        window minimised
#   hidden           last window closed ("closeApplication" off: the app runs on)
#   watcher_shown    the same page under the watched mail host, so the unread
#                    watcher reads it every 3 s; window shown
#   watcher_hidden   the same, window hidden (when a badge matters most)
#   dock_monitor     dock monitor on a square of the page (2 s capture)
#   tray_watcher     menu-bar mode ("statusBarKey"), its popup never opened, the
#                    watched inbox in it (tray_host, built with the bench target,
#                    stands in for the panel's tray)
#   refresh_30s      a 30 s refresh timer on ("refreshTimeInterval")
#
# Options:
#   --build DIR         build tree holding DefaultApp.app (default: $QUILT_BUILD_DIR or build)
#   --only LIST         cases to measure, comma separated (every one)
#   --idle-seconds S    length of each sample (60)
#   --settle S          seconds to let a freshly started app settle before sampling (20)
#
# Output: one line per case and a final "RESULT {json}".
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source "$here/../bench-start.sh"
bench_start idle_bench "$here/idle_bench.py" "$@"
