#!/bin/sh
# Runs a command on a private headless sway: two outputs of different sizes side by side
# (HEADLESS-1 1920x1080 at 0,0 and HEADLESS-2 1280x1024 at 1920,0), no XWayland, a 25-pixel
# bar at the top of each output standing in for a menu bar (so each output's usable area
# starts 25 pixels down, as on the X11 test desktop), focus that does not follow the
# pointer, a US keyboard layout, a keyboard on the seat (see below). The command gets
# WAYLAND_DISPLAY, SWAYSOCK and XDG_RUNTIME_DIR (DISPLAY is unset, so nothing falls back to
# an X server), and, so tests can take parts of the desktop away, TARN_TEST_SWAY_PID and
# TARN_TEST_KEYBOARD_PID. Its exit status passes through; whatever was started here is
# stopped on the way out, however it ends.
#
# usage: with-sway.sh [--config FILE]... [--session-bus] COMMAND [ARGS...]
#   --config FILE   appends the file to the sway configuration (bindings a test expects the
#                   desktop to hold, ...)
#   --session-bus   runs everything on a private D-Bus session bus (dbus-run-session), so
#                   the bar hosts a tray (StatusNotifierItem) and the command can reach it
set -u

# Listing a test program's tests needs no desktop.
for word in "$@"; do
    if [ "$word" = "--gtest_list_tests" ]; then
        while [ "${1:-}" = "--config" ] && [ $# -ge 2 ]; do shift 2; done
        exec "$@"
    fi
done

# The bus comes first: the whole script runs again inside it.
wants_bus() {
    while [ $# -gt 0 ]; do
        case "$1" in
        --session-bus) return 0 ;;
        --config) shift 2 ;;
        *) return 1 ;;
        esac
    done
    return 1
}
if wants_bus "$@" && [ -z "${TARN_WITH_SWAY_ON_BUS:-}" ]; then
    TARN_WITH_SWAY_ON_BUS=1 exec dbus-run-session -- sh "$0" "$@"
fi
unset TARN_WITH_SWAY_ON_BUS

work=$(mktemp -d "${TMPDIR:-/tmp}/tarn-sway.XXXXXX") || exit 1
sway_pid=""
keyboard_pid=""

stop() {
    [ -n "$keyboard_pid" ] && kill "$keyboard_pid" 2>/dev/null
    if [ -n "$sway_pid" ]; then
        kill "$sway_pid" 2>/dev/null
        wait "$sway_pid" 2>/dev/null
    fi
    rm -rf "$work"
}
trap stop EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

fail() {
    echo "with-sway.sh: $*" >&2
    [ -s "$work/sway.log" ] && tail -n 30 "$work/sway.log" | sed 's/^/  sway: /' >&2
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

cat >"$work/config" <<'EOF'
xwayland disable
output HEADLESS-1 resolution 1920x1080 position 0,0
output HEADLESS-2 resolution 1280x1024 position 1920,0
focus_follows_mouse no
input * xkb_layout us
bar {
    position top
    height 25
}
EOF
while [ $# -gt 0 ]; do
    case "$1" in
    --config)
        [ $# -ge 2 ] && [ -r "$2" ] || fail "--config needs a readable file"
        cat "$2" >>"$work/config"
        shift 2 ;;
    --session-bus) shift ;;
    *) break ;;
    esac
done
[ $# -gt 0 ] || fail "usage: with-sway.sh [--config FILE]... [--session-bus] COMMAND [ARGS...]"

# sway refuses to run as root. In a user namespace of its own it is an unprivileged user
# that cannot become root again, and starts; the runtime folder must then let "others" in.
XDG_RUNTIME_DIR="$work/run"
mkdir -m 0777 "$XDG_RUNTIME_DIR" && chmod 0777 "$XDG_RUNTIME_DIR" || fail "no runtime folder"
export XDG_RUNTIME_DIR
unset DISPLAY WAYLAND_DISPLAY SWAYSOCK WAYLAND_SOCKET
WLR_BACKENDS=headless WLR_LIBINPUT_NO_DEVICES=1 WLR_RENDERER=pixman WLR_HEADLESS_OUTPUTS=2
XKB_DEFAULT_LAYOUT=us
export WLR_BACKENDS WLR_LIBINPUT_NO_DEVICES WLR_RENDERER WLR_HEADLESS_OUTPUTS XKB_DEFAULT_LAYOUT
if [ "$(id -u)" -eq 0 ]; then
    unshare --user sway -c "$work/config" >"$work/sway.log" 2>&1 &
else
    sway -c "$work/config" >"$work/sway.log" 2>&1 &
fi
sway_pid=$!

socket() { ls "$XDG_RUNTIME_DIR" 2>/dev/null | grep -m1 "$1"; }
wait_until '[ -n "$(socket "^sway-ipc\..*\.sock$")" ] || ! kill -0 $sway_pid 2>/dev/null' \
    || fail "sway made no IPC socket"
kill -0 "$sway_pid" 2>/dev/null || fail "sway ended at start"
SWAYSOCK="$XDG_RUNTIME_DIR/$(socket "^sway-ipc\..*\.sock$")"
WAYLAND_DISPLAY=$(socket '^wayland-[0-9]*$')
[ -n "$WAYLAND_DISPLAY" ] || fail "sway made no Wayland socket"
export SWAYSOCK WAYLAND_DISPLAY

# Ready once both outputs are on and the bar has claimed its band on each: every workspace's
# rect (the usable area) then starts at y 25.
usable_areas() {
    swaymsg -r -t get_workspaces 2>/dev/null | tr -d ' \n' | grep -o '"rect":{"x":[0-9]*,"y":25,' | wc -l
}
wait_until '[ "$(usable_areas)" -ge 2 ] || ! kill -0 $sway_pid 2>/dev/null' \
    || fail "the outputs or the bar did not come up"
kill -0 "$sway_pid" 2>/dev/null || fail "sway ended at start"

# A seat with no devices has no keyboard: the first virtual keyboard to come adds one, and
# each client makes its wl_keyboard only once it hears of it, so keys sent right away are
# lost to them. A real session always has a keyboard; so does this one, a virtual keyboard
# that never types (wtype, waiting). Tests that want the bare seat end it:
# TARN_TEST_KEYBOARD_PID.
wtype -s 4000000 >/dev/null 2>&1 &
keyboard_pid=$!
seat_has_keyboard() {
    swaymsg -r -t get_inputs 2>/dev/null | grep -q '"type": *"keyboard"'
}
wait_until 'seat_has_keyboard || ! kill -0 $keyboard_pid 2>/dev/null' \
    || fail "the seat got no keyboard"
kill -0 "$keyboard_pid" 2>/dev/null || fail "wtype could not make a keyboard"

XDG_SESSION_TYPE=wayland XDG_CURRENT_DESKTOP=sway
TARN_TEST_SWAY_PID=$sway_pid TARN_TEST_KEYBOARD_PID=$keyboard_pid
export XDG_SESSION_TYPE XDG_CURRENT_DESKTOP TARN_TEST_SWAY_PID TARN_TEST_KEYBOARD_PID

"$@"
