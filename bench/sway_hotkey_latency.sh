#!/bin/bash
# Hotkey to window moved on sway: the time from control+alt+Right typed on a virtual
# keyboard to the moment the focused window (the Wayland test client) takes its new width,
# measured by sway_latency_probe, for three programs acting on that chord with the same move:
#   floor:  sway_floor_binder, the least a hotkey program can do on sway (one run-time
#           binding, one command per `binding` event): the floor of this desktop;
#   wendle: the agent with one rule;
#   sway:   sway's own `bindsym … exec swaymsg …` (a shell and a swaymsg per press).
# Median and p90 of RUNS presses each, and wendle's ratios to the floor and to sway's exec.
# The three take turns in ROUNDS blocks, so a drift of the machine meanwhile weighs on all
# of them alike. Runs on a private headless sway (the sway tests' desktop).
#
# All make the first right move from home: the primary's full width, 0,100 1920x605 from
# 100,100 800x605. Between presses (untimed) the window goes back home and the window state
# is forgotten, so every press makes that same move.
#
# usage: bench/sway_hotkey_latency.sh [RUNS [ROUNDS]]     (needs the default build)
set -u
root=$(cd "$(dirname "$0")/.." && pwd)
if [ "${TARN_BENCH_ON_DESKTOP:-}" != 1 ]; then
    TARN_BENCH_ON_DESKTOP=1 exec "$root/tests/wayland/with-sway.sh" "$0" "$@"
fi
runs=${1:-100}
rounds=${2:-5}
build="$root/build/default"
wendle="$build/wendle"
probe="$build/bench/sway_latency_probe"
floor="$build/bench/sway_floor_binder"
app="$build/tests/wayland/tarn_wayland_test_client"
for program in "$wendle" "$probe" "$floor" "$app"; do
    [ -x "$program" ] || { echo "sway_hotkey_latency: $program is not built" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/tarn-latency.XXXXXX") || exit 1
pids=()
trap 'kill "${pids[@]}" 2>/dev/null; wait 2>/dev/null; rm -rf "$work"' EXIT
export HOME="$work" XDG_CONFIG_HOME="$work/config"
mkdir -p "$XDG_CONFIG_HOME/Tarn"

wait_until() {  # polls every 5 ms for at most 5 s
    local tries=0
    until eval "$1"; do
        tries=$((tries + 1))
        [ "$tries" -ge 1000 ] && { echo "sway_hotkey_latency: timed out waiting for: $1" >&2; exit 1; }
        sleep 0.005
    done
}

"$app" --log "$work/app.log" --app-id Bench --size 640x480 &
pids+=($!)
wait_until 'grep -q "^focus " "$work/app.log" 2>/dev/null'
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
measure() {  # presses the chord COUNT times, each from home; one latency (µs) a line
    for ((i = 0; i < $1; i++)); do
        home
        "$probe" "$work/app.log" 1920 124 || exit 1
        wait_until '[ "$(frame)" = "0,100 1920x605" ]'
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
move='floating enable, resize set 1920 605, move absolute position 0 100'

contender=""
start() {  # starts one contender and waits until it holds the chord
    case $1 in
    wendle)
        : >"$work/wendle.log"
        WENDLE_LOG_STDERR=1 "$wendle" --headless 2>"$work/wendle.log" &
        contender=$!
        wait_until 'grep -q "Keystroke interceptor started" "$work/wendle.log" 2>/dev/null'
        sleep 0.3 ;;  # its first, debounced save
    floor)
        "$floor" Ctrl+Mod1+Right 0 100 1920 605 >"$work/floor.out" &
        contender=$!
        wait_until 'grep -q bound "$work/floor.out" 2>/dev/null' ;;
    sway)
        swaymsg "bindsym --no-repeat Ctrl+Mod1+Right exec swaymsg '$move'" >/dev/null
        contender="" ;;
    esac
}
stop() {
    if [ -n "$contender" ]; then kill "$contender"; wait "$contender" 2>/dev/null; fi
    swaymsg 'unbindsym Ctrl+Mod1+Right' >/dev/null 2>&1
}
names=(floor wendle sway)
per_round=$(((runs + rounds - 1) / rounds))
for ((round = 0; round < rounds; round++)); do
    for name in "${names[@]}"; do
        start "$name"
        measure "$per_round" >>"$work/$name.times" || exit 1
        stop
    done
done
for name in "${names[@]}"; do summary "$name" <"$work/$name.times"; done | awk -v runs=$((per_round * rounds)) '
    {median[$1] = $2; p90[$1] = $3}
    END {
        printf "hotkey to window moved on sway, %d presses each (ms)\n", runs
        printf "  floor (one binding, one command): median %7.3f  p90 %7.3f\n", median["floor"], p90["floor"]
        printf "  wendle:                           median %7.3f  p90 %7.3f\n", median["wendle"], p90["wendle"]
        printf "  sway bindsym exec swaymsg:        median %7.3f  p90 %7.3f\n", median["sway"], p90["sway"]
        printf "  wendle / floor:                   median %.3f  p90 %.3f\n", median["wendle"] / median["floor"], p90["wendle"] / p90["floor"]
        printf "  wendle / sway exec:               median %.3f  p90 %.3f\n", median["wendle"] / median["sway"], p90["wendle"] / p90["sway"]
    }'
