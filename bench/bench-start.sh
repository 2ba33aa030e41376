# Sourced by the benchmark front ends: bench_start NAME SCRIPT.py [ARGS...]
# answers --help from the caller's head comment, takes --build DIR, checks the
# build's template bundle, starts the caller again inside a private headless
# desktop (nothing else paints on the screen being polled), and there runs
# SCRIPT.py with --template and the other arguments.
bench_start() {
  local name=$1 script=$2
  shift 2
  local root
  root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
  if [[ "${1:-}" == "-h" || "${1:-}" == "--help" ]]; then
    sed -n '2,/^set -euo/p' "$0" | sed '$d; s/^# \{0,1\}//'
    exit 0
  fi
  local build=${QUILT_BUILD_DIR:-$root/build}
  local args=()
  while (($#)); do
    case "$1" in
      --build) build=$2; shift 2 ;;
      *) args+=("$1"); shift ;;
    esac
  done
  [[ "$build" = /* ]] || build=$PWD/$build
  local template=$build/DefaultApp.app
  if [[ ! -x "$template/Contents/MacOS/DefaultApp" ]]; then
    echo "$name: no template bundle at $template (build first)" >&2
    exit 2
  fi
  local session=QUILT_${name^^}_SESSION
  if [[ -z "${!session:-}" ]]; then
    export "$session=1"
    exec "$root/tests/desktop-session" bash "$0" --build "$build" "${args[@]}"
  fi
  exec python3 "$script" --template "$template" "${args[@]}"
}
