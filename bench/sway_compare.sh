#!/bin/bash
# tarn against swaymsg doing the same job, on a private headless sway (the sway tests'
# desktop): process wall time, median of RUNS runs each, and the ratios.
#   move: one `tarn move-app right` (first press from home: the primary's full width)
#         against `swaymsg` sending the one command that makes that same move, and
#         /bin/true (what starting any process costs here).
# Between runs (untimed) the window goes back home and tarn forgets it, so every run makes
# the same move. Needs the default build (make build).
#
# usage: bench/sway_compare.sh [RUNS]
set -u
root=$(cd "$(dirname "$0")/.." && pwd)
if [ "${TARN_BENCH_ON_DESKTOP:-}" != 1 ]; then
    TARN_BENCH_ON_DESKTOP=1 exec "$root/tests/wayland/with-sway.sh" "$0" "$@"
fi
runs=${1:-50}
tarn="$root/build/default/tarn"
app="$root/build/default/tests/wayland/tarn_wayland_test_client"
for program in "$tarn" "$app"; do
    [ -x "$program" ] || { echo "sway_compare: $program is not built" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/tarn-bench.XXXXXX") || exit 1
app_pid=""
trap '[ -n "$app_pid" ] && kill $app_pid 2>/dev/null; wait 2>/dev/null; rm -rf "$work"' EXIT
export HOME="$work" XDG_CONFIG_HOME="$work/config"

wait_until() {  # polls every 5 ms for at most 5 s
    local tries=0
    until eval "$1"; do
        tries=$((tries + 1))
        [ "$tries" -ge 1000 ] && { echo "sway_compare: timed out waiting for: $1" >&2; exit 1; }
        sleep 0.005
    done
}
elapsed() {  # microseconds a command takes, start to exit
    local start=$EPOCHREALTIME
    "$@" >/dev/null 2>&1
    local end=$EPOCHREALTIME
    echo $(((${end/./} - ${start/./})))
}
median() { sort -n | awk '{v[NR] = $1} END {print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2}'; }

"$app" --log "$work/app.log" --app-id Bench --size 640x480 &
app_pid=$!
wait_until 'grep -q "^focus " "$work/app.log" 2>/dev/null'
# The window's frame as swaymsg reports it (it draws its own decorations: rect = frame).
frame() { swaymsg -r -t get_tree | jq -r 'first(.. | objects | select(.app_id == "Bench")) | "\(.rect.x),\(.rect.y) \(.rect.width)x\(.rect.height)"'; }
home() {
    # A client still drawing its last size can answer the move with it, which sway adopts:
    # placed again until it stays.
    local tries=0
    until swaymsg '[app_id=Bench] floating enable, resize set 800 605, move absolute position 100 100' >/dev/null &&
        sleep 0.05 && [ "$(frame)" = "100,100 800x605" ] && grep -q "size 1 800x605" <(tail -n 1 "$work/app.log"); do
        tries=$((tries + 1))
        [ "$tries" -ge 100 ] && { echo "$(basename "$0"): the window would not go home" >&2; exit 1; }
    done
    rm -f "$XDG_CONFIG_HOME/Tarn/state.json"
}
move='floating enable, resize set 1920 605, move absolute position 0 100'
tarn_times=() tool_times=() true_times=()
for ((i = 0; i < runs; i++)); do
    home
    tarn_times+=("$(elapsed "$tarn" move-app right)")
    wait_until '[ "$(frame)" = "0,100 1920x605" ]'
    home
    tool_times+=("$(elapsed swaymsg "$move")")
    wait_until '[ "$(frame)" = "0,100 1920x605" ]'
    true_times+=("$(elapsed /bin/true)")
done
t=$(printf '%s\n' "${tarn_times[@]}" | median)
s=$(printf '%s\n' "${tool_times[@]}" | median)
b=$(printf '%s\n' "${true_times[@]}" | median)
awk -v t="$t" -v s="$s" -v b="$b" -v n="$runs" 'BEGIN {
    printf "move-app right on sway, median of %d runs (ms)\n", n
    printf "  tarn move-app right: %7.3f\n  swaymsg (same move): %7.3f\n  /bin/true:           %7.3f\n", t / 1000, s / 1000, b / 1000
    printf "  tarn / swaymsg:      %7.3f\n", t / s }'
