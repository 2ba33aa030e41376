#!/usr/bin/env bash
# Checks that tests/desktop-session gives a working private desktop (display,
# window manager, Secret Service, notifications, environment) and that it
# leaves nothing behind, whatever the command inside does. Works when already
# inside another session: every session here gets its own display and bus.
set -uo pipefail

HERE=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
SESSION=$HERE/desktop-session
WORK=$(mktemp -d "${TMPDIR:-/tmp}/quilt-session-selftest.XXXXXX")
trap 'rm -rf "$WORK"' EXIT

PASSED=0
FAILED=0
pass() { PASSED=$((PASSED + 1)); echo "PASS $1"; }
fail() { FAILED=$((FAILED + 1)); echo "FAIL $1${2:+: $2}"; }

# Pid + start time identifies a process even if the pid is reused later.
proc_id() {
  local stat
  { read -r stat <"/proc/$1/stat"; } 2>/dev/null || return 1
  local rest=${stat##*) }
  # shellcheck disable=SC2086
  set -- $rest
  # field 22 of stat is the 20th after "comm"
  echo "${20}"
}

# Did any process recorded in $1 ("pid starttime name" lines) survive?
survivors() {
  local pid start name now state stat
  while read -r pid start name; do
    [[ -n "$pid" ]] || continue
    now=$(proc_id "$pid") || continue
    [[ "$now" == "$start" ]] || continue
    read -r stat <"/proc/$pid/stat" 2>/dev/null || continue
    state=${stat##*) }
    [[ "${state%% *}" == Z ]] && continue
    echo "$name($pid)"
  done <"$1"
}

# Written inside a session: every live process whose environment has the
# session's private HOME, i.e. everything the session started.
record_session_procs() {
  cat <<'EOF'
record_procs() {
  local f pid stat rest comm
  for f in $(grep -lzx "HOME=$HOME" /proc/[0-9]*/environ 2>/dev/null); do
    pid=${f#/proc/}; pid=${pid%/environ}
    { read -r stat <"/proc/$pid/stat"; } 2>/dev/null || continue
    comm=${stat#*(}; comm=${comm%%)*}
    rest=${stat##*) }
    set -- $rest
    echo "$pid ${20} ${comm// /_}"
  done
}
EOF
}

# --- 1. the desktop works -----------------------------------------------------
cat >"$WORK/inside.sh" <<EOF
#!/usr/bin/env bash
set -uo pipefail
OUT=$WORK/inside.results
OUTER_DISPLAY='${DISPLAY:-}'
OUTER_BUS='${DBUS_SESSION_BUS_ADDRESS:-}'
$(record_session_procs)
EOF
cat >>"$WORK/inside.sh" <<'EOF'
ok() { echo "PASS $1" >>"$OUT"; }
ko() { echo "FAIL $1: $2" >>"$OUT"; }

# Display
info=$(xdpyinfo 2>&1)
if [[ $? == 0 && "$info" == *"dimensions:    1280x1024 pixels"* ]]; then
  ok "display answers at 1280x1024 on $DISPLAY"
else
  ko "display" "xdpyinfo failed on '$DISPLAY'"
fi
if [[ -n "$OUTER_DISPLAY" && "$OUTER_DISPLAY" == "$DISPLAY" ]] || [[ -n "$OUTER_BUS" && "$OUTER_BUS" == "$DBUS_SESSION_BUS_ADDRESS" ]]; then
  ko "nested session" "reused the outer display or bus ($DISPLAY, $DBUS_SESSION_BUS_ADDRESS)"
else
  ok "session has its own display and bus"
fi

# Window manager: advertises itself and actually manages new windows.
wm=$(xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | awk '{print $NF}')
name=$( [[ -n "$wm" ]] && xprop -id "$wm" _NET_WM_NAME 2>/dev/null)
if [[ "$name" == *'"Openbox"'* ]]; then ok "window manager is running"; else ko "window manager" "_NET_WM_NAME='$name'"; fi
xmessage -name quiltselftest "window manager check" >/dev/null 2>&1 &
xm=$!
wid=$(timeout 10 xdotool search --sync --classname quiltselftest 2>/dev/null | head -n1)
extents=""
for _ in $(seq 50); do
  [[ -n "$wid" ]] || break
  extents=$(xprop -id "$wid" _NET_FRAME_EXTENTS 2>/dev/null)
  [[ "$extents" == *=* ]] && break
  sleep 0.1
done
if [[ "$extents" == *=* ]]; then ok "new windows get framed by the window manager"; else ko "window framing" "window '$wid' has no _NET_FRAME_EXTENTS"; fi
kill "$xm" 2>/dev/null

# Secret Service: store, read back, and do not find what was never stored.
label="Quilt selftest"
if printf 's3cret-%s' "$$" | timeout 15 secret-tool store --label="$label" service quilt-selftest account alice 2>"$OUT.err"; then
  got=$(timeout 15 secret-tool lookup service quilt-selftest account alice 2>>"$OUT.err")
  if [[ "$got" == "s3cret-$$" ]]; then ok "secret stored and read back without a prompt"; else ko "secret lookup" "got '$got'"; fi
  other=$(timeout 15 secret-tool lookup service quilt-selftest account bob 2>/dev/null)
  if [[ -z "$other" ]]; then ok "lookup of an unknown account finds nothing"; else ko "secret lookup" "bob got '$other'"; fi
else
  ko "secret store" "$(tail -n1 "$OUT.err")"
fi

# Notifications reach dunst and end up in its history.
summary="Quilt selftest $$-$RANDOM"
if timeout 15 notify-send -t 300 "$summary" "from the session selftest" 2>"$OUT.err"; then
  seen=no
  for _ in $(seq 100); do
    if dunstctl history 2>/dev/null | grep -qF "$summary"; then seen=yes; break; fi
    sleep 0.1
  done
  if [[ $seen == yes ]]; then ok "notification reached dunst"; else ko "notification" "'$summary' not in dunst history (count: $(dunstctl count history 2>&1))"; fi
else
  ko "notify-send" "$(tail -n1 "$OUT.err")"
fi

# Environment handed to the command
bad=""
for kv in QUILT_TEST_SESSION=1 NO_AT_BRIDGE=1 GDK_BACKEND=x11 WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS=1 LIBGL_ALWAYS_SOFTWARE=1; do
  name=${kv%%=*}
  [[ "${!name:-}" == "${kv#*=}" ]] || bad+=" $name=${!name:-unset}"
done
for v in HOME XDG_DATA_HOME XDG_CONFIG_HOME XDG_CACHE_HOME XDG_RUNTIME_DIR; do
  [[ -d "${!v:-}" && "${!v}" != /root* && "${!v}" != "/run/user/"* ]] || bad+=" $v=${!v:-unset}"
done
[[ "$(stat -c %a "$XDG_RUNTIME_DIR")" == 700 ]] || bad+=" XDG_RUNTIME_DIR mode $(stat -c %a "$XDG_RUNTIME_DIR")"
if [[ -z "$bad" ]]; then ok "environment is private and complete"; else ko "environment" "$bad"; fi

# Left running on purpose: the session must clean up after its command.
sleep 1000 &
setsid sleep 1001 &
sleep 0.2
echo "$HOME" >"$OUT.home"
record_procs >"$OUT.procs"
exit 0
EOF

: >"$WORK/inside.results"
if "$SESSION" bash "$WORK/inside.sh" </dev/null >"$WORK/inside.log" 2>&1; then
  pass "session runs a command and returns its status"
else
  fail "session run" "exit $?: $(tail -n 3 "$WORK/inside.log" | tr '\n' ' ')"
fi
while read -r verdict rest; do
  if [[ $verdict == PASS ]]; then pass "$rest"; else fail "$rest"; fi
done <"$WORK/inside.results"
if [[ ! -s "$WORK/inside.results" ]]; then
  fail "in-session checks" "none ran"
fi

# --- 2. nothing is left behind ------------------------------------------------
procs=$WORK/inside.results.procs
if [[ -s "$procs" ]]; then
  missing=""
  for want in Xvfb dbus-daemon openbox gnome-keyring-d dunst sleep; do
    grep -q " $want\$" "$procs" || missing+=" $want"
  done
  if [[ -z "$missing" ]]; then pass "all session processes were seen running"; else fail "process census" "not seen:$missing"; fi
  left=$(survivors "$procs")
  if [[ -z "$left" ]]; then pass "no process survives the session"; else fail "teardown" "still running: $left"; fi
else
  fail "process census" "no process list recorded"
fi
home=$(cat "$WORK/inside.results.home" 2>/dev/null)
if [[ -n "$home" && ! -e "$home" ]]; then pass "temporary home is removed"; else fail "teardown" "temporary home '$home' still exists"; fi

# --- 3. exit status, stdin, and commands that die ------------------------------
"$SESSION" bash -c 'exit 3' </dev/null >/dev/null 2>&1
rc=$?
if [[ $rc == 3 ]]; then pass "exit status of the command is returned"; else fail "exit status" "got $rc, want 3"; fi

got=$(echo "through stdin" | "$SESSION" cat 2>/dev/null)
if [[ "$got" == "through stdin" ]]; then pass "command reads the caller's stdin"; else fail "stdin" "got '$got'"; fi

cat >"$WORK/killed.sh" <<EOF
$(record_session_procs)
record_procs >"$WORK/killed.procs"
sleep 1000 &
kill -KILL \$\$
EOF
"$SESSION" bash "$WORK/killed.sh" </dev/null >/dev/null 2>&1
rc=$?
left=$( [[ -s "$WORK/killed.procs" ]] && survivors "$WORK/killed.procs")
if [[ $rc == 137 && -s "$WORK/killed.procs" && -z "$left" ]]; then
  pass "a killed command leaves nothing behind"
else
  fail "killed command" "exit $rc, survivors: ${left:-none}"
fi

# The session itself being stopped by a signal must tear everything down.
cat >"$WORK/stopped.sh" <<EOF
$(record_session_procs)
record_procs >"$WORK/stopped.procs"
touch "$WORK/stopped.ready"
sleep 1000
EOF
"$SESSION" bash "$WORK/stopped.sh" </dev/null >/dev/null 2>&1 &
spid=$!
for _ in $(seq 300); do [[ -e "$WORK/stopped.ready" ]] && break; sleep 0.1; done
kill -TERM "$spid"
wait "$spid"
rc=$?
left=$( [[ -s "$WORK/stopped.procs" ]] && survivors "$WORK/stopped.procs")
if [[ $rc == 143 && -s "$WORK/stopped.procs" && -z "$left" ]]; then
  pass "SIGTERM to the session tears it down"
else
  fail "signal teardown" "exit $rc, survivors: ${left:-none}"
fi

# --- 4. a component that fails to start ---------------------------------------
# A dunst that dies at once, and one that never comes up: both must give a
# one-line error naming it, a non-zero status, and no leftovers. Each run gets
# its own TMPDIR so its processes can be told apart by their HOME.
mkdir -p "$WORK/bin-dies" "$WORK/bin-hangs"
printf '#!/bin/sh\necho "dunst: simulated start-up failure" >&2\nexit 1\n' >"$WORK/bin-dies/dunst"
printf '#!/bin/sh\nexec sleep 1000\n' >"$WORK/bin-hangs/dunst"
chmod +x "$WORK/bin-dies/dunst" "$WORK/bin-hangs/dunst"
for kind in dies hangs; do
  tmp=$WORK/tmp-$kind
  mkdir -p "$tmp"
  start=$SECONDS
  err=$(TMPDIR=$tmp PATH="$WORK/bin-$kind:$PATH" QUILT_SESSION_TIMEOUT=3 \
    "$SESSION" touch "$WORK/ran-$kind" </dev/null 2>&1 >/dev/null)
  rc=$?
  took=$((SECONDS - start))
  left=""
  for f in $(grep -lz "^HOME=$tmp/" /proc/[0-9]*/environ 2>/dev/null); do
    pid=${f#/proc/}
    pid=${pid%/environ}
    [[ -r "/proc/$pid/cmdline" ]] && left+=" $(tr '\0' ' ' <"/proc/$pid/cmdline")($pid)"
  done
  lines=$(printf '%s\n' "$err" | grep -c .)
  if [[ $rc != 0 && ! -e "$WORK/ran-$kind" && "$err" == *dunst* && $lines == 1 && $took -lt 15 &&
    -z "$left" && -z "$(ls -A "$tmp")" ]]; then
    pass "dunst that $kind: clear error, command not run, nothing left"
  else
    fail "dunst that $kind" "rc=$rc, ${took}s, left:${left:-none}, tmp: $(ls -A "$tmp" | tr '\n' ' '), stderr: $err"
  fi
done

echo "$PASSED passed, $FAILED failed"
((FAILED == 0))
