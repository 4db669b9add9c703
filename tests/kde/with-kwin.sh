#!/bin/sh
# Runs a command on a private headless KWin: a session bus of its own, KWin's virtual backend
# with two side-by-side 1920x1080 outputs (the left one first), fake input open to every
# client (KWIN_WAYLAND_NO_PERMISSION_CHECKS). The command gets DBUS_SESSION_BUS_ADDRESS,
# WAYLAND_DISPLAY, XDG_RUNTIME_DIR, XDG_CURRENT_DESKTOP=KDE and, for test-only scripts that
# print, TARN_TEST_KWIN_LOG (KWin's standard error). Its exit status passes through; what was
# started here is stopped on the way out, however it ends.
#
# The KWin binary is a copy of /usr/bin/kwin_wayland: the installed one carries a file
# capability that some sandboxes refuse to execute, and the copy must keep the name
# kwin_wayland (its Qt platform plugin checks the program's name).
#
# usage: with-kwin.sh COMMAND [ARGS...]
set -u

for word in "$@"; do
    [ "$word" = "--gtest_list_tests" ] && exec "$@"
done

work=$(mktemp -d "${TMPDIR:-/tmp}/tarn-kwin.XXXXXX") || exit 1
bus_pid=""
kwin_pid=""

stop() {
    [ -n "$kwin_pid" ] && kill "$kwin_pid" 2>/dev/null
    [ -n "$bus_pid" ] && kill "$bus_pid" 2>/dev/null
    wait 2>/dev/null
    rm -rf "$work"
}
trap stop EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

fail() {
    echo "with-kwin.sh: $*" >&2
    [ -s "$work/kwin.log" ] && sed 's/^/  kwin: /' "$work/kwin.log" | tail -20 >&2
    exit 1
}

wait_until() {
    tries=0
    until eval "$1"; do
        tries=$((tries + 1))
        [ "$tries" -ge 2000 ] && return 1
        sleep 0.01
    done
}

command -v kwin_wayland >/dev/null || fail "kwin_wayland is not installed (scripts/setup installs kwin-wayland)"
mkdir -p "$work/bin" "$work/run" "$work/home" || exit 1
chmod 700 "$work/run"
cp "$(command -v kwin_wayland)" "$work/bin/kwin_wayland" || fail "could not copy kwin_wayland"

XDG_RUNTIME_DIR=$work/run
HOME=$work/home
XDG_CONFIG_HOME=$work/home/.config
XDG_DATA_HOME=$work/home/.local/share
export XDG_RUNTIME_DIR HOME XDG_CONFIG_HOME XDG_DATA_HOME

dbus-daemon --session --nofork --nopidfile --print-address=3 3>"$work/bus" \
    >/dev/null 2>&1 &
bus_pid=$!
wait_until '[ -s "$work/bus" ] || ! kill -0 $bus_pid 2>/dev/null' || fail "no session bus"
DBUS_SESSION_BUS_ADDRESS=$(head -n1 "$work/bus")
[ -n "$DBUS_SESSION_BUS_ADDRESS" ] || fail "the session bus ended at start"
export DBUS_SESSION_BUS_ADDRESS

socket=kwin-test-$$
unset WAYLAND_DISPLAY DISPLAY
KWIN_WAYLAND_NO_PERMISSION_CHECKS=1 KWIN_SCREENSHOT_NO_PERMISSION_CHECKS=1 \
    "$work/bin/kwin_wayland" --virtual --width 1920 --height 1080 --output-count 2 \
    --socket "$socket" --no-lockscreen --no-kactivities >"$work/kwin.log" 2>&1 &
kwin_pid=$!

# Ready when KWin's scripting answers on the bus and its socket is there.
wait_until '{ [ -S "$XDG_RUNTIME_DIR/$socket" ] && gdbus call --session -d org.kde.KWin \
    -o /Scripting -m org.kde.kwin.Scripting.isScriptLoaded none >/dev/null 2>&1; } \
    || ! kill -0 $kwin_pid 2>/dev/null' || fail "KWin did not start"
kill -0 "$kwin_pid" 2>/dev/null || fail "KWin ended at start"

WAYLAND_DISPLAY=$socket
XDG_CURRENT_DESKTOP=KDE
XDG_SESSION_TYPE=wayland
TARN_TEST_KWIN_LOG=$work/kwin.log
TARN_TEST_KWIN_PID=$kwin_pid
export WAYLAND_DISPLAY XDG_CURRENT_DESKTOP XDG_SESSION_TYPE TARN_TEST_KWIN_LOG TARN_TEST_KWIN_PID

"$@"
