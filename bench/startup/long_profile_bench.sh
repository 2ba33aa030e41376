#!/usr/bin/env bash
# long_profile_bench.sh [OPTIONS]
#
# Start-up with a long-used profile against a fresh one, in one run: the time
# from process start to a visibly painted page and the memory (PSS) of the
# app's process tree, measured by the shared start-up tool on apps made by
# quilt-create. The long-used profile holds ENTRIES history titles and 500
# bookmarks (the shared heavy_profile_setup.sh). Fresh and long-used runs
# alternate in rounds, so that a machine growing busier weighs on both alike;
# the medians of all runs and their ratios are printed at the end.
#
# Options:
#   --tool PATH      the shared startup_bench.sh (default: ../shared/perf/ beside the checkout)
#   --build DIR      build tree holding tools/quilt-create and the template (default: build)
#   --rounds N       fresh / long-used rounds (3)     -n, --runs N   runs per round (3)
#   --entries N      history titles of the long-used profile (100000)
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)

tool=$(cd "$root/.." && pwd)/shared/perf/startup_bench.sh
build=${QUILT_BUILD_DIR:-$root/build}
rounds=3 runs=3 entries=100000
while (($#)); do
  case "$1" in
    --tool) tool=$2; shift 2 ;;
    --build) build=$2; shift 2 ;;
    --rounds) rounds=$2; shift 2 ;;
    -n|--runs) runs=$2; shift 2 ;;
    --entries) entries=$2; shift 2 ;;
    -h|--help) sed -n '2,/^set -euo/p' "$0" | sed '$d; s/^# \{0,1\}//'; exit 0 ;;
    *) echo "long_profile_bench: unknown option $1" >&2; exit 2 ;;
  esac
done
[[ "$build" = /* ]] || build=$PWD/$build
create=$build/tools/quilt-create
heavy_setup=$(dirname "$tool")/heavy_profile_setup.sh
for f in "$tool" "$heavy_setup" "$create"; do
  [[ -e "$f" ]] || { echo "long_profile_bench: missing $f" >&2; exit 2; }
done

fresh_setup="\"$create\" --url \"\$BENCH_URL\" --name Bench --dest \"\$HOME/apps\" >/dev/null"
heavy_setup="QUILT_CREATE=\"$create\" HEAVY_N=$entries sh \"$heavy_setup\""
app=(sh -c 'exec "$HOME/apps/Bench.app/Contents/MacOS/DefaultApp"' {URL})

results=$(mktemp)
trap 'rm -f "$results"' EXIT
measure() { # NAME SETUP
  "$tool" --runs "$runs" --warmup 1 --name "$1" --setup "$2" -- "${app[@]}" |
    tee /dev/stderr | sed -n 's/^RESULT /'"$1"' /p' >>"$results"
}
for ((r = 1; r <= rounds; r++)); do
  measure fresh "$fresh_setup"
  measure long-used "$heavy_setup"
done

python3 - "$results" "$entries" <<'PY'
import json, statistics, sys
values = {}
for line in open(sys.argv[1]):
    name, result = line.split(" ", 1)
    result = json.loads(result)
    for fig in ("visible_ms", "pss_mib"):
        values.setdefault(name, {}).setdefault(fig, []).extend(result.get(fig, {}).get("values", []))
print("\nstart-up, fresh profile vs %s history titles and 500 bookmarks" % sys.argv[2])
print("%-10s %6s %14s %12s" % ("profile", "runs", "visible ms", "PSS MiB"))
med = {}
for name in ("fresh", "long-used"):
    v = values.get(name, {})
    med[name] = {f: statistics.median(v[f]) if v.get(f) else float("nan") for f in ("visible_ms", "pss_mib")}
    print("%-10s %6d %14.0f %12.1f" % (name, len(v.get("visible_ms", [])), med[name]["visible_ms"], med[name]["pss_mib"]))
ratio = {f: med["long-used"][f] / med["fresh"][f] for f in ("visible_ms", "pss_mib")}
print("ratio: %.3fx the time to a visible page, %.3fx the memory (aim: time within 1.05x)"
      % (ratio["visible_ms"], ratio["pss_mib"]))
PY
