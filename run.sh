#!/usr/bin/env bash
# ./run.sh [URL]
# Builds Quilt, makes an app for URL (or for the bundled demo site, served
# locally) and starts it. Without a display the app runs in a private headless
# desktop, a screenshot is saved to build/demo-screenshot.png, and the app is
# closed again, so this also finishes on a machine with no screen.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
ROOT=$PWD

URL=${1:-}
if [[ "$URL" == -h || "$URL" == --help ]]; then
  echo "usage: ./run.sh [URL]   (no URL: the demo site in resources/demo)"
  exit 0
fi

source scripts/configure.sh
# Only what running an app needs; the test suite is ./test.sh's business.
cmake --build "$BUILD" -j "$(nproc)" --target quilt-create template_bundle

BUILD=$(cd "$BUILD" && pwd)
CREATE=$BUILD/tools/quilt-create
if [[ ! -x "$CREATE" ]]; then
  echo "run.sh: $CREATE was not built; nothing to run" >&2
  exit 1
fi

SERVER_PID=
stop_server() {
  if [[ -n "$SERVER_PID" ]]; then
    kill "$SERVER_PID" 2>/dev/null || true
    wait "$SERVER_PID" 2>/dev/null || true
    SERVER_PID=
  fi
}
trap stop_server EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

free_port() {
  python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

port_answers() {
  python3 - "$1" <<'PY' 2>/dev/null
import socket, sys
socket.create_connection(("127.0.0.1", int(sys.argv[1])), timeout=1).close()
PY
}

# Serves the demo site on a free loopback port; sets PORT and SERVER_PID.
start_demo_server() {
  local i
  for _ in 1 2 3 4 5; do
    PORT=$(free_port)
    python3 -m http.server --bind 127.0.0.1 --directory "$ROOT/resources/demo" "$PORT" \
      </dev/null >"$BUILD/demo-server.log" 2>&1 &
    SERVER_PID=$!
    for ((i = 0; i < 100; i++)); do
      port_answers "$PORT" && return 0
      kill -0 "$SERVER_PID" 2>/dev/null || break
      sleep 0.1
    done
    # Lost the port to someone else between picking and binding: try another.
    stop_server
  done
  echo "run.sh: could not start the demo web server (see $BUILD/demo-server.log)" >&2
  exit 1
}

if [[ -n "$URL" ]]; then
  create_args=(--url "$URL")
else
  start_demo_server
  URL=http://127.0.0.1:$PORT/
  echo "run.sh: serving resources/demo at $URL"
  # --force re-creates the app so its home page follows the port, which can
  # change from run to run.
  create_args=(--url "$URL" --name "Quilt Demo" --force
    --dest "${XDG_DATA_HOME:-$HOME/.local/share}/quilt/apps")
fi

created=$("$CREATE" "${create_args[@]}")
[[ -z "$created" ]] || printf '%s\n' "$created"
BUNDLE=$(printf '%s\n' "$created" | tail -n 1)
APP=$BUNDLE/Contents/MacOS/DefaultApp
if [[ ! -x "$APP" ]]; then
  echo "run.sh: quilt-create did not leave a runnable app at '$APP'" >&2
  exit 1
fi
echo "run.sh: app bundle: $BUNDLE"

# An app that stops with an error before its window is up is reported, not
# treated as a failure of this script.
report_early_exit() {
  echo "run.sh: DefaultApp exited with status $1 before showing a window."
  echo "run.sh: the app is at $BUNDLE (start it with: '$APP')"
}

if [[ -n "${DISPLAY:-}" ]]; then
  rc=0
  "$APP" || rc=$?
  ((rc == 0)) || report_early_exit "$rc"
  exit 0
fi

SHOT=$BUILD/demo-screenshot.png
rm -f "$SHOT"
echo "run.sh: no DISPLAY, running the app in a private headless desktop"

# Inside the session: start the app, wait for its window (or its early exit),
# let the page render, take the screenshot, close the app.
# shellcheck disable=SC2016
# The session has a private HOME for its daemons; the app keeps the user's,
# where quilt-create put its data.
tests/desktop-session bash -c '
  app=$1 shot=$2
  HOME=$3 XDG_DATA_HOME=$4 XDG_CONFIG_HOME=$5 XDG_CACHE_HOME=$6 "$app" &
  pid=$!
  for ((i = 0; i < 150; i++)); do
    kill -0 "$pid" 2>/dev/null || break
    xdotool search --onlyvisible --pid "$pid" >/dev/null 2>&1 && break
    sleep 0.1
  done
  if ! kill -0 "$pid" 2>/dev/null; then
    rc=0
    wait "$pid" || rc=$?
    exit $((rc == 0 ? 200 : rc))
  fi
  sleep 5
  if kill -0 "$pid" 2>/dev/null; then
    import -window root "$shot"
  fi
  if kill -0 "$pid" 2>/dev/null; then
    kill -TERM "$pid" 2>/dev/null
    for ((i = 0; i < 50; i++)); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
    exit 0
  fi
  rc=0
  wait "$pid" || rc=$?
  exit $((rc == 0 ? 200 : rc))
' run-app "$APP" "$SHOT" "$HOME" "${XDG_DATA_HOME:-$HOME/.local/share}" \
  "${XDG_CONFIG_HOME:-$HOME/.config}" "${XDG_CACHE_HOME:-$HOME/.cache}" && rc=0 || rc=$?

if ((rc == 200)); then
  echo "run.sh: DefaultApp quit by itself before the screenshot was taken."
  echo "run.sh: the app is at $BUNDLE"
elif ((rc != 0)); then
  report_early_exit "$rc"
fi
if [[ -f "$SHOT" ]]; then
  echo "run.sh: screenshot of the running app: $SHOT"
fi
exit 0
