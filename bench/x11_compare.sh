#!/bin/bash
# tarn against the usual X tools doing the same job, on a private Xvfb + openbox (the X11
# tests' desktop): process wall time, median of several runs each, and their ratio.
#   move: one `tarn move-app right` (first press: home to the primary's full width) against
#         `wmctrl -r :ACTIVE: -e 0,x,y,w,h` making that same move, 50 runs each;
#   keys: `tarn keys` with 100 plain characters against `xdotool type --delay 11` of the same
#         text, 10 runs each. tarn pauses 1 ms after each key down and 10 ms after each key
#         up; xdotool (3.20160805) pauses about half its --delay a character, so
#         `--delay 22` (keys22) is the run with the same pauses as tarn's.
# Between runs (untimed) the window goes back home and tarn forgets it, so every run makes
# the same move. Needs the default build (make build).
#
# usage: bench/x11_compare.sh [MOVE_RUNS [KEYS_RUNS]]
set -u
root=$(cd "$(dirname "$0")/.." && pwd)
if [ "${TARN_BENCH_ON_DESKTOP:-}" != 1 ]; then
    TARN_BENCH_ON_DESKTOP=1 exec "$root/tests/x11/with-x11.sh" "$0" "$@"
fi
move_runs=${1:-50}
keys_runs=${2:-10}
tarn="$root/build/default/tarn"
app="$root/build/default/tests/x11/tarn_x11_test_app"
for program in "$tarn" "$app"; do
    [ -x "$program" ] || { echo "x11_compare: $program is not built" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/tarn-bench.XXXXXX") || exit 1
app_pid=""
trap '[ -n "$app_pid" ] && kill $app_pid 2>/dev/null; wait 2>/dev/null; rm -rf "$work"' EXIT
export XDG_CONFIG_HOME="$work/config"

wait_until() {  # polls every 5 ms for at most 5 s
    local tries=0
    until eval "$1"; do
        tries=$((tries + 1))
        [ "$tries" -ge 1000 ] && { echo "x11_compare: timed out waiting for: $1" >&2; exit 1; }
        sleep 0.005
    done
}

# Microseconds a command takes, start to exit.
elapsed() {
    local start=$EPOCHREALTIME
    "$@" >/dev/null 2>&1
    local end=$EPOCHREALTIME
    echo $(((${end/./} - ${start/./})))
}
median() { sort -n | awk '{v[NR] = $1} END {print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2}'; }
report() {  # name, tarn median, tool median (microseconds)
    awk -v n="$1" -v a="$2" -v b="$3" \
        'BEGIN {printf "%-6s tarn %9.2f ms   tool %9.2f ms   ratio %.3f\n", n, a / 1000, b / 1000, a / b}'
}

# A client of exact sizes: 798x580 at 100,100, outer frame 800x605 (openbox adds 1,1,20,5).
"$app" --log "$work/app.log" --class Bench --geometry 798x580+100+100 &
app_pid=$!
wait_until 'grep -q "^focus " "$work/app.log" 2>/dev/null'
window=$(sed -n 's/^window //p' "$work/app.log")
client_at() {  # client window's absolute corner, "x y"
    xwininfo -id "$window" | awk '/Absolute upper-left X/ {x = $4} /Absolute upper-left Y/ {y = $4} END {print x, y}'
}
home() {
    wmctrl -i -r "$window" -e 0,100,100,798,580
    wait_until '[ "$(client_at)" = "101 120" ]'
    rm -f "$XDG_CONFIG_HOME/Tarn/state.json"
}

# The first right press from home: the primary's full width, same y and height, so the
# outer frame 0,100 1920x605 and the client 1918x580 at 1,120.
tarn_times=()
tool_times=()
for ((i = 0; i < move_runs; i++)); do
    home
    tarn_times+=("$(elapsed "$tarn" move-app right)")
    wait_until '[ "$(client_at)" = "1 120" ]'
    home
    tool_times+=("$(elapsed wmctrl -r :ACTIVE: -e 0,0,100,1918,580)")
    wait_until '[ "$(client_at)" = "1 120" ]'
done
report move "$(printf '%s\n' "${tarn_times[@]}" | median)" \
    "$(printf '%s\n' "${tool_times[@]}" | median)"

text=$(printf 'abcdefghij%.0s' $(seq 10))  # 100 plain characters
keys_typed() { grep -c '^key ' "$work/app.log"; }
# Types the text with each program in turn, and reports tarn against the second one.
compare_typing() {
    local name=$1 delay=$2 before
    tarn_times=()
    tool_times=()
    for ((i = 0; i < keys_runs; i++)); do
        before=$(keys_typed)
        tarn_times+=("$(elapsed "$tarn" keys "$text")")
        wait_until '[ $(($(keys_typed) - before)) -eq 100 ]'
        before=$(keys_typed)
        tool_times+=("$(elapsed xdotool type --delay "$delay" "$text")")
        wait_until '[ $(($(keys_typed) - before)) -eq 100 ]'
    done
    report "$name" "$(printf '%s\n' "${tarn_times[@]}" | median)" \
        "$(printf '%s\n' "${tool_times[@]}" | median)"
}
compare_typing keys 11
compare_typing keys22 22
