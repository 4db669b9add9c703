#!/bin/bash
# Hotkey to window moved: the time from an XTest press of control+alt+Right to the focused
# window's ConfigureNotify, measured by one observer client (latency_probe), for three
# programs acting on that chord with the same move:
#   floor:  floor_grabber, the least a hotkey program can do (one grab, one property read,
#           one _NET_MOVERESIZE_WINDOW): the floor of this desktop;
#   wendle: the agent with one rule;
#   sxhkd:  sxhkd running `wmctrl -e`.
# Median and p90 of RUNS presses each, and wendle's ratios to the floor and to sxhkd. The
# three take turns in ROUNDS blocks (RUNS/ROUNDS presses each), so a drift of the machine
# meanwhile weighs on all of them alike. Runs on a private Xvfb + openbox (the X11 tests'
# desktop).
#
# All make the first right move from home: the primary's full width. Between presses
# (untimed) the window goes back home and the window state is forgotten, so every press
# makes that same move. sxhkd is installed for this benchmark only (apt).
#
# usage: bench/hotkey_latency.sh [RUNS [ROUNDS]]     (needs the default build: make build)
set -u
root=$(cd "$(dirname "$0")/.." && pwd)
if [ "${TARN_BENCH_ON_DESKTOP:-}" != 1 ]; then
    TARN_BENCH_ON_DESKTOP=1 exec "$root/tests/x11/with-x11.sh" "$0" "$@"
fi
runs=${1:-100}
rounds=${2:-5}
build="$root/build/default"
wendle="$build/wendle"
probe="$build/bench/latency_probe"
floor="$build/bench/floor_grabber"
app="$build/tests/x11/tarn_x11_test_app"
for program in "$wendle" "$probe" "$floor" "$app"; do
    [ -x "$program" ] || { echo "hotkey_latency: $program is not built" >&2; exit 1; }
done
command -v sxhkd >/dev/null || { echo "hotkey_latency: sxhkd is not installed (apt-get install sxhkd)" >&2; exit 1; }

work=$(mktemp -d "${TMPDIR:-/tmp}/tarn-latency.XXXXXX") || exit 1
pids=()
trap 'kill "${pids[@]}" 2>/dev/null; wait 2>/dev/null; rm -rf "$work"' EXIT
export XDG_CONFIG_HOME="$work/config" XDG_RUNTIME_DIR="$work/run"
mkdir -p "$XDG_CONFIG_HOME/Tarn" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"

wait_until() {  # polls every 5 ms for at most 5 s
    local tries=0
    until eval "$1"; do
        tries=$((tries + 1))
        [ "$tries" -ge 1000 ] && { echo "hotkey_latency: timed out waiting for: $1" >&2; exit 1; }
        sleep 0.005
    done
}

# A client of exact sizes: 798x580 at 100,100, outer frame 800x605 (openbox adds 1,1,20,5).
"$app" --log "$work/app.log" --class Bench --geometry 798x580+100+100 &
pids+=($!)
wait_until 'grep -q "^focus " "$work/app.log" 2>/dev/null'
window=$(sed -n 's/^window //p' "$work/app.log")
client_at() {
    xwininfo -id "$window" | awk '/Absolute upper-left X/ {x = $4} /Absolute upper-left Y/ {y = $4} END {print x, y}'
}
home() {
    wmctrl -i -r "$window" -e 0,100,100,798,580
    wait_until '[ "$(client_at)" = "101 120" ]'
    rm -f "$XDG_CONFIG_HOME/Tarn/state.json"
}
# Presses the chord COUNT times, each from home; one latency (µs) a line.
measure() {
    for ((i = 0; i < $1; i++)); do
        home
        # Timed to the configure that gives the full width, however many steps the move takes.
        "$probe" WIDTH=1918 "$window" Right Control_L Alt_L || exit 1
        wait_until '[ "$(client_at)" = "1 120" ]'
    done
}
summary() {  # name < latencies
    sort -n | awk -v n="$1" '{v[NR] = $1} END {
        m = (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2
        p = v[int(NR * 0.9 + 0.5)]
        printf "%s %.3f %.3f\n", n, m / 1000, p / 1000 }'
}

# wendle: one rule, control+option+right arrow (key code 124, modifiers 2|4) moves right.
cat >"$XDG_CONFIG_HOME/Tarn/wendle-config.json" <<'JSON'
{"globalRules":[{"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C","chord":{"keyCode":124,"modifiers":6},
"action":{"moveWindow":{"direction":"right"}},"swallow":true}],"appConfigs":[]}
JSON
printf 'ctrl + alt + Right\n\twmctrl -r :ACTIVE: -e 0,0,100,1918,580\n' >"$work/sxhkdrc"

# Starts one contender and waits until it holds the chord; its pid in $contender.
start() {
    case $1 in
    wendle)
        : >"$work/wendle.log"
        WENDLE_LOG_STDERR=1 "$wendle" --headless 2>"$work/wendle.log" &
        contender=$!
        wait_until 'grep -q "Keystroke interceptor started" "$work/wendle.log" 2>/dev/null'
        sleep 0.3 ;;  # its first, debounced save
    floor)
        "$floor" Right 0 100 1918 580 >"$work/floor.out" &
        contender=$!
        wait_until 'grep -q grabbed "$work/floor.out" 2>/dev/null' ;;
    sxhkd)
        sxhkd -c "$work/sxhkdrc" 2>/dev/null &
        contender=$!
        sleep 0.5 ;;
    esac
}
names=(floor wendle sxhkd)
per_round=$(((runs + rounds - 1) / rounds))
for ((round = 0; round < rounds; round++)); do
    for name in "${names[@]}"; do
        start "$name"
        measure "$per_round" >>"$work/$name.times" || exit 1
        kill "$contender"; wait "$contender" 2>/dev/null
    done
done
for name in "${names[@]}"; do summary "$name" <"$work/$name.times"; done | awk -v runs=$((per_round * rounds)) '
    {median[$1] = $2; p90[$1] = $3}
    END {
        printf "hotkey to window moved, %d presses each (ms)\n", runs
        printf "  floor (one grab, one move): median %7.3f  p90 %7.3f\n", median["floor"], p90["floor"]
        printf "  wendle:                     median %7.3f  p90 %7.3f\n", median["wendle"], p90["wendle"]
        printf "  sxhkd + wmctrl:             median %7.3f  p90 %7.3f\n", median["sxhkd"], p90["sxhkd"]
        printf "  wendle / floor:             median %.3f  p90 %.3f\n", median["wendle"] / median["floor"], p90["wendle"] / p90["floor"]
        printf "  wendle / sxhkd + wmctrl:    median %.3f  p90 %.3f\n", median["wendle"] / median["sxhkd"], p90["wendle"] / p90["sxhkd"]
    }'
