#!/bin/sh
# wendle on a private X desktop with a tray (trayer as the XEmbed host): the icon docks, its
# chord works, a click opens the menu, its first item "Settings…" shows the settings window,
# a second launch leaves the first one running and exits, and SIGTERM ends it with status 0. Screenshots of each step are kept in
# $TARN_TEST_ARTIFACTS (default: tray-e2e/ in the working directory).
#
# usage: tests/x11/with-x11.sh tray_e2e.sh path/to/wendle
set -u
wendle=$1
shots=${TARN_TEST_ARTIFACTS:-$PWD/tray-e2e}
mkdir -p "$shots"
work=$(mktemp -d "${TMPDIR:-/tmp}/wendle-tray.XXXXXX") || exit 1
pids=""
cleanup() {
    for pid in $pids; do kill "$pid" 2>/dev/null; done
    wait 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT

fail() {
    echo "FAIL: $*" >&2
    [ -s "$work/wendle.log" ] && sed 's/^/  wendle: /' "$work/wendle.log" >&2
    exit 1
}
# Polls every 20 ms, for at most 10 s, until the shell condition holds.
wait_until() {
    tries=0
    until eval "$1"; do
        tries=$((tries + 1))
        [ "$tries" -ge 500 ] && return 1
        sleep 0.02
    done
}
shot() {
    xwd -root -silent | xwdtopnm 2>/dev/null | pnmtopng >"$shots/$1.png" 2>/dev/null
}

XDG_CONFIG_HOME=$work/config
XDG_RUNTIME_DIR=$work/runtime
export XDG_CONFIG_HOME XDG_RUNTIME_DIR
mkdir -p "$XDG_CONFIG_HOME/Tarn" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
# A configuration is there: no first-run question covers the screen. Its one rule, ⌃⌥M,
# sends the pointer to the centre of the second monitor.
cat >"$XDG_CONFIG_HOME/Tarn/wendle-config.json" <<'EOF'
{"globalRules":[{"id":"5E6F7A8B-9C0D-4E1F-8A3B-4C5D6E7F8A9B","chord":{"keyCode":46,"modifiers":6},
"action":{"moveMouse":{"target":{"screen":{"index":1}},"position":"Center"}},"swallow":true}],
"appConfigs":[]}
EOF

trayer --edge top --align right --monitor primary --widthtype pixel --width 96 --height 32 \
    --SetDockType true >"$work/trayer.log" 2>&1 &
pids="$pids $!"
wait_until 'xdotool search --onlyvisible --class trayer >/dev/null 2>&1' || fail "trayer did not start"
tray=$(xdotool search --onlyvisible --class trayer | tail -n1)

WENDLE_LOG_STDERR=1 "$wendle" >"$work/wendle.log" 2>&1 &
agent=$!
pids="$pids $agent"
# Docked: a window of wendle's inside the tray's rectangle.
eval "$(xdotool getwindowgeometry --shell "$tray")"
tx=$X ty=$Y tw=$WIDTH th=$HEIGHT
docked() {
    for w in $(xdotool search --class wendle 2>/dev/null); do
        eval "$(xdotool getwindowgeometry --shell "$w" 2>/dev/null)" || continue
        if [ "$X" -ge "$tx" ] && [ "$X" -lt $((tx + tw)) ] && [ "$Y" -lt $((ty + th)) ]; then
            icon_x=$((X + WIDTH / 2)) icon_y=$((Y + HEIGHT / 2))
            return 0
        fi
    done
    return 1
}
wait_until docked || fail "the icon did not dock in the tray"
shot 1-docked
echo "icon docked at $icon_x,$icon_y"

# The tray program is the agent itself: its chords are bound.
wait_until "grep -q 'Keystroke interceptor started successfully' '$work/wendle.log'" \
    || fail "the interceptor did not start"
xdotool key ctrl+alt+m
wait_until '[ "$(xdotool getmouselocation | cut -d" " -f1-2)" = "x:2880 y:540" ]' \
    || fail "⌃⌥M did not move the pointer: $(xdotool getmouselocation)"
echo "chord ran"

xdotool mousemove "$icon_x" "$icon_y" click 1
menu_open() { [ "$(xdotool search --onlyvisible --class wendle 2>/dev/null | wc -l)" -ge 2 ]; }
wait_until menu_open || fail "a click on the icon did not open the menu"
sleep 0.3
shot 2-menu
echo "menu open"

xdotool key Down Return
wait_until "xdotool search --onlyvisible --name 'Calvex Settings' >/dev/null 2>&1" \
    || fail "Settings… did not show the settings window"
window=$(xdotool search --onlyvisible --name 'Calvex Settings' | head -n1)
sleep 0.3
shot 3-settings
eval "$(xdotool getwindowgeometry --shell "$window")"
echo "settings window ${WIDTH}x$HEIGHT"
[ "$WIDTH" -eq 900 ] && [ "$HEIGHT" -eq 750 ] || fail "settings window is ${WIDTH}x$HEIGHT"

# A second launch hands over to the running agent and leaves.
# Closed the way a user closes it: the window hides and the agent stays.
wmctrl -c "Calvex Settings"
wait_until "! xdotool search --onlyvisible --name 'Calvex Settings' >/dev/null 2>&1" || fail "the window did not close"
timeout 10 "$wendle" >"$work/second.log" 2>&1 || fail "second launch failed: $(cat "$work/second.log")"
wait_until "xdotool search --onlyvisible --name 'Calvex Settings' >/dev/null 2>&1" \
    || fail "a second launch did not show the running agent's settings"
[ "$(xdotool search --name 'Calvex Settings' | wc -l)" -eq 1 ] || fail "more than one settings window"

kill -TERM "$agent"
wait "$agent"
status=$?
[ "$status" -eq 0 ] || fail "SIGTERM ended wendle with status $status"
echo "PASS"
