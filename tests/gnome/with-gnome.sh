#!/bin/sh
# Runs a command on a private headless GNOME Shell (Wayland, no X) with two virtual monitors,
# 1920x1080 and 1280x1024 to its right, on a session bus of its own. Each --extension DIR
# (a directory named after the extension's uuid) is installed for the private user and
# enabled before the shell starts. The command gets WAYLAND_DISPLAY, the session bus,
# HOME/XDG_* pointing into a temp dir, XDG_CURRENT_DESKTOP=GNOME and TARN_TEST_SHELL_PID
# (so tests can take the shell away). Its exit status passes through; whatever was started
# here is stopped on the way out, however it ends.
#
# usage: with-gnome.sh [--extension DIR]... COMMAND [ARGS...]
set -u

for word in "$@"; do
    [ "$word" = "--gtest_list_tests" ] && exec "$@"
done

extensions=""
while [ $# -gt 0 ] && [ "$1" = "--extension" ]; do
    [ $# -ge 2 ] || { echo "with-gnome.sh: --extension needs a directory" >&2; exit 2; }
    extensions="$extensions $2"
    shift 2
done
[ $# -gt 0 ] || { echo "usage: with-gnome.sh [--extension DIR]... COMMAND [ARGS...]" >&2; exit 2; }

work=$(mktemp -d "${TMPDIR:-/tmp}/tarn-gnome.XXXXXX") || exit 1
system_bus_pid=""

stop() {
    [ -n "$system_bus_pid" ] && kill "$system_bus_pid" 2>/dev/null
    wait 2>/dev/null
    rm -rf "$work"
}
trap stop EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

fail() {
    echo "with-gnome.sh: $*" >&2
    exit 1
}

export HOME="$work/home" XDG_RUNTIME_DIR="$work/run" XDG_CONFIG_HOME="$work/home/.config" \
    XDG_DATA_HOME="$work/home/.local/share" XDG_CACHE_HOME="$work/home/.cache"
mkdir -p "$HOME" "$XDG_CONFIG_HOME" "$XDG_DATA_HOME/gnome-shell/extensions" "$XDG_CACHE_HOME"
mkdir -m 700 "$XDG_RUNTIME_DIR"

uuids=""
for dir in $extensions; do
    [ -f "$dir/metadata.json" ] || fail "$dir holds no extension (no metadata.json)"
    uuid=$(basename "$dir")
    cp -r "$dir" "$XDG_DATA_HOME/gnome-shell/extensions/$uuid" || fail "could not install $dir"
    uuids="$uuids${uuids:+, }'$uuid'"
done

# The shell's start-up talks to the system bus (power, logins) and exports nothing without
# one: a private bus stands in for it.
eval "$(dbus-launch --sh-syntax)" || fail "dbus-launch could not start a bus"
system_bus_pid=$DBUS_SESSION_BUS_PID
DBUS_SYSTEM_BUS_ADDRESS=$DBUS_SESSION_BUS_ADDRESS
export DBUS_SYSTEM_BUS_ADDRESS
unset DBUS_SESSION_BUS_ADDRESS DBUS_SESSION_BUS_PID

export TARN_GNOME_UUIDS="[$uuids]" TARN_GNOME_WORK="$work" \
    TARN_GNOME_HERE="$(cd "$(dirname "$0")" && pwd)"

dbus-run-session -- sh -c '
    set -u
    export GSETTINGS_BACKEND=keyfile XDG_CURRENT_DESKTOP=GNOME XDG_SESSION_TYPE=wayland
    gsettings set org.gnome.shell enabled-extensions "$TARN_GNOME_UUIDS" || exit 1
    gsettings set org.gnome.shell welcome-dialog-last-shown-version "999" 2>/dev/null
    display=tarn-gnome-$$
    gnome-shell --headless --wayland --no-x11 --wayland-display=$display \
        --virtual-monitor 1920x1080 --virtual-monitor 1280x1024 \
        >"$TARN_GNOME_WORK/shell.log" 2>&1 &
    shell=$!
    ready() {
        gdbus call --session --dest org.gnome.Shell --object-path /org/gnome/Shell \
            --method org.freedesktop.DBus.Properties.Get org.gnome.Shell ShellVersion \
            >/dev/null 2>&1
    }
    tries=0
    until ready; do
        tries=$((tries + 1))
        if [ $tries -ge 600 ] || ! kill -0 $shell 2>/dev/null; then
            echo "with-gnome.sh: gnome-shell did not start" >&2
            sed "s/^/  gnome-shell: /" "$TARN_GNOME_WORK/shell.log" | tail -n 30 >&2
            kill $shell 2>/dev/null
            exit 1
        fi
        sleep 0.05
    done
    # Each extension is loaded once the shell answers; wait until every one is (state 1).
    for uuid in $(echo "$TARN_GNOME_UUIDS" | tr -d "[],'\''"); do
        tries=0
        until gdbus call --session --dest org.gnome.Shell --object-path /org/gnome/Shell \
                --method org.gnome.Shell.Extensions.GetExtensionInfo "$uuid" 2>/dev/null \
                | grep -q "'\''state'\'': <1.0>"; do
            tries=$((tries + 1))
            if [ $tries -ge 400 ]; then
                echo "with-gnome.sh: the extension $uuid was not loaded" >&2
                gdbus call --session --dest org.gnome.Shell --object-path /org/gnome/Shell \
                    --method org.gnome.Shell.Extensions.GetExtensionInfo "$uuid" >&2
                sed "s/^/  gnome-shell: /" "$TARN_GNOME_WORK/shell.log" | tail -n 30 >&2
                kill $shell 2>/dev/null
                exit 1
            fi
            sleep 0.05
        done
    done
    export WAYLAND_DISPLAY=$display TARN_TEST_SHELL_PID=$shell
    # A keyboard for the seat, as a real desktop has one plugged in.
    gjs "$TARN_GNOME_HERE/press.js" --hold >"$TARN_GNOME_WORK/keyboard" &
    keyboard=$!
    tries=0
    until grep -q holding "$TARN_GNOME_WORK/keyboard" 2>/dev/null; do
        tries=$((tries + 1))
        if [ $tries -ge 400 ] || ! kill -0 $keyboard 2>/dev/null; then
            echo "with-gnome.sh: no keyboard could be plugged in through RemoteDesktop" >&2
            kill $keyboard $shell 2>/dev/null
            exit 1
        fi
        sleep 0.05
    done
    "$@"
    status=$?
    if [ $status -ne 0 ]; then
        kill -0 $shell 2>/dev/null || echo "with-gnome.sh: gnome-shell ended during the run" >&2
        sed "s/^/  gnome-shell: /" "$TARN_GNOME_WORK/shell.log" | tail -n 40 >&2
    fi
    kill $keyboard $shell 2>/dev/null
    wait $shell 2>/dev/null
    exit $status
' with-gnome "$@"
