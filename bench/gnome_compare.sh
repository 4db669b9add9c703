#!/bin/bash
# tarn and wendle on a private headless GNOME Shell (tests/gnome/with-gnome.sh), against the
# least the desktop allows:
#  1. `tarn move-app` from process start to the frame placed (the shell has answered the
#     Place call), against a process making the same one call through Tarn's extension
#     (gdbus) and /bin/true;
#  2. hotkey to window moved: from the chord's keys leaving a RemoteDesktop session to the
#     shell moving the window (both clocks CLOCK_MONOTONIC, the second read inside the shell
#     by the tests' probe), for wendle and for a minimal binder that grabs the chord through
#     the same extension and places the window on its signal (bench/gnome/floor_binder.js).
# Prints the mean and the median of each in milliseconds.
#
# usage: bench/gnome_compare.sh [RUNS]      (tarn and wendle built in build/default)
set -u
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build/default"
runs=${1:-30}
if [ "${2:-}" != "--on-private-shell" ]; then
    exec "$root/tests/gnome/with-gnome.sh" \
        --extension "$build/platform/gnome/extension/legacy/tarn-shell@tarn" \
        --extension "$root/tests/gnome/probe/tarn-probe@tarn-tests" "$0" "$runs" --on-private-shell
fi
work=$(mktemp -d) || exit 1
pids=""
trap 'for p in $pids; do kill $p 2>/dev/null; done; wait 2>/dev/null; rm -rf "$work"' EXIT
export XDG_CONFIG_HOME="$work/config"
probe() {
    local method=$1
    shift
    gdbus call --session --dest org.tarn.TestProbe --object-path /org/tarn/TestProbe \
        --method "org.tarn.TestProbe.$method" "$@"
}
# mean and median of the numbers on standard input (microseconds), in milliseconds
summary() {
    sort -n | awk '{ v[NR] = $1; s += $1 } END {
        printf "mean %.2f ms, median %.2f ms (%d runs)\n", s / NR / 1000, v[int((NR + 1) / 2)] / 1000, NR }'
}
now() { echo $(( ${EPOCHREALTIME/./} )); }
time_runs() {
    for ((i = 0; i < runs; i++)); do
        local start=$(now)
        "$@" >/dev/null 2>&1
        echo $(( $(now) - start ))
    done | summary
}

until probe Settled | grep -q true; do sleep 0.1; done
"$build/tests/wayland/tarn_wayland_test_client" \
    --log "$work/client.log" --app-id Bench --size 800x600 >/dev/null 2>&1 &
pids="$pids $!"
until probe Frames Bench | grep -q 800; do sleep 0.1; done
probe Focus Bench >/dev/null
sleep 0.5
window=$(gdbus call --session --dest org.tarn.Shell --object-path /org/tarn/Shell \
    --method org.tarn.Shell1.FocusedWindow | sed 's/((uint64 \([0-9]*\).*/\1/')

echo "1. process start to frame placed"
printf '  tarn move-app right:            '
time_runs "$build/tarn" move-app right
printf '  gdbus call Place (same call):   '
time_runs gdbus call --session --dest org.tarn.Shell --object-path /org/tarn/Shell \
    --method org.tarn.Shell1.Place "$window" 100 100 800 600
printf '  /bin/true:                      '
time_runs /bin/true

echo "2. hotkey to window moved"
latency() {
    local chord=$1
    for ((i = 0; i < runs; i++)); do
        probe ArmFrameWatch Bench >/dev/null
        local sent
        sent=$(gjs "$root/tests/gnome/press.js" --stamp "$chord" | head -n1)
        local moved
        moved=$(probe FrameChangedAt | sed 's/.*int64 \([0-9]*\).*/\1/')
        [ "${moved:-0}" -gt 0 ] && echo $((moved - sent))
    done | summary
}
mkdir -p "$XDG_CONFIG_HOME/Tarn"
echo '{"globalRules":[{"id":"6F1A1C2E-0B4D-4C8E-9A11-3D5E7F901201","chord":{"keyCode":124,"modifiers":14},"action":{"moveWindow":{"direction":"right"}},"swallow":true}],"appConfigs":[]}' \
    >"$XDG_CONFIG_HOME/Tarn/wendle-config.json"
WENDLE_LOG_STDERR=1 "$build/wendle" --headless 2>"$work/wendle.log" &
wendle=$!
until grep -q "Keystroke interceptor started" "$work/wendle.log" 2>/dev/null; do sleep 0.1; done
sleep 0.5
printf '  wendle (⌃⌥⌘→, move-app right):  '
latency "Control_L+Alt_L+Super_L+Right"
kill $wendle
wait $wendle 2>/dev/null
gjs "$root/bench/gnome/floor_binder.js" "<Control><Alt><Super>Right" >"$work/floor" &
pids="$pids $!"
until grep -q ready "$work/floor"; do sleep 0.1; done
printf '  floor binder (same Place call): '
latency "Control_L+Alt_L+Super_L+Right"
