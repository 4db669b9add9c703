#!/bin/sh
# Runs a command on a private X server: Xvfb with two side-by-side 1920x1080 monitors (the
# left one primary) and openbox with the test configuration (no key or mouse bindings, a
# 25-pixel top margin standing in for a menu bar). The command gets DISPLAY and, so tests
# can take the desktop away, TARN_TEST_XVFB_PID and TARN_TEST_WM_PID. Its exit status
# passes through; whatever was started here is stopped on the way out, however it ends.
#
# usage: with-x11.sh COMMAND [ARGS...]
set -u

# Listing a test program's tests needs no desktop.
for word in "$@"; do
    [ "$word" = "--gtest_list_tests" ] && exec "$@"
done

here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d "${TMPDIR:-/tmp}/tarn-x11.XXXXXX") || exit 1
xvfb_pid=""
wm_pid=""

stop() {
    [ -n "$wm_pid" ] && kill "$wm_pid" 2>/dev/null
    [ -n "$xvfb_pid" ] && kill "$xvfb_pid" 2>/dev/null
    wait 2>/dev/null
    rm -rf "$work"
}
trap stop EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

fail() {
    echo "with-x11.sh: $*" >&2
    [ -s "$work/xvfb.log" ] && sed 's/^/  Xvfb: /' "$work/xvfb.log" >&2
    [ -s "$work/wm.log" ] && sed 's/^/  openbox: /' "$work/wm.log" >&2
    exit 1
}

# Polls (every 10 ms, for at most 10 s) until the shell condition holds.
wait_until() {
    tries=0
    until eval "$1"; do
        tries=$((tries + 1))
        [ "$tries" -ge 1000 ] && return 1
        sleep 0.01
    done
}

# -displayfd: the server picks a free display itself and writes its number to fd 3.
# -noreset: without it the server resets (dropping the monitors) when its last client leaves.
Xvfb -displayfd 3 -noreset -nolisten tcp -screen 0 3840x1080x24 \
    3>"$work/display" 2>"$work/xvfb.log" &
xvfb_pid=$!
wait_until '[ -n "$(head -n1 "$work/display" 2>/dev/null)" ] || ! kill -0 $xvfb_pid 2>/dev/null' \
    || fail "Xvfb did not report a display"
number=$(head -n1 "$work/display")
[ -n "$number" ] || fail "Xvfb ended before it reported a display"
DISPLAY=":$number"
export DISPLAY

# The first monitor takes over the server's automatic output; the second has none.
xrandr --setmonitor '*LEFT' 1920/508x1080/286+0+0 screen >/dev/null 2>&1 \
    || fail "could not set the left monitor"
xrandr --setmonitor RIGHT 1920/508x1080/286+1920+0 none >/dev/null 2>&1 \
    || fail "could not set the right monitor"

# openbox names itself the window manager early in its start-up, and a window mapped soon
# after may be lost; the command it runs once started says it is ready.
openbox --sm-disable --config-file "$here/test-rc.xml" --startup "touch $work/wm-ready" \
    >"$work/wm.log" 2>&1 &
wm_pid=$!
wait_until '[ -e "$work/wm-ready" ] || ! kill -0 $wm_pid 2>/dev/null' \
    || fail "openbox did not start"
kill -0 "$wm_pid" 2>/dev/null || fail "openbox ended at start"

TARN_TEST_XVFB_PID=$xvfb_pid
TARN_TEST_WM_PID=$wm_pid
export TARN_TEST_XVFB_PID TARN_TEST_WM_PID

"$@"
