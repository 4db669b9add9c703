#!/bin/bash
# Hotkey to window moved: the time from an XTest press of control+alt+Right to the focused
# window's ConfigureNotify, measured by one observer client (latency_probe), for wendle and
# for sxhkd running `wmctrl -e` for the same chord and move; median and p90 of RUNS presses
# each, and their ratio. Runs on a private Xvfb + openbox (the X11 tests' desktop).
#
# Both make the first right move from home: the primary's full width. Between presses
# (untimed) the window goes back home and the window state is forgotten, so every press
# makes that same move. sxhkd is installed for this benchmark only (apt).
#
# usage: bench/hotkey_latency.sh [RUNS]     (needs the default build: make build)
set -u
root=$(cd "$(dirname "$0")/.." && pwd)
if [ "${TARN_BENCH_ON_DESKTOP:-}" != 1 ]; then
    TARN_BENCH_ON_DESKTOP=1 exec "$root/tests/x11/with-x11.sh" "$0" "$@"
fi
runs=${1:-100}
build="$root/build/default"
wendle="$build/wendle"
probe="$build/bench/latency_probe"
app="$build/tests/x11/tarn_x11_test_app"
for program in "$wendle" "$probe" "$app"; do
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
# Presses the chord RUNS times, each from home; prints one latency (µs) a line.
measure() {
    for ((i = 0; i < runs; i++)); do
        home
        "$probe" "$window" Right Control_L Alt_L || exit 1
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
WENDLE_LOG_STDERR=1 "$wendle" --headless 2>"$work/wendle.log" &
wendle_pid=$!
pids+=($wendle_pid)
wait_until 'grep -q "Keystroke interceptor started" "$work/wendle.log" 2>/dev/null'
sleep 0.3  # its first, debounced save
wendle_line=$(measure | summary wendle) || exit 1
kill $wendle_pid; wait $wendle_pid 2>/dev/null

# sxhkd with wmctrl making the same move.
printf 'ctrl + alt + Right\n\twmctrl -r :ACTIVE: -e 0,0,100,1918,580\n' >"$work/sxhkdrc"
sxhkd -c "$work/sxhkdrc" 2>/dev/null &
pids+=($!)
sleep 0.5
tool_line=$(measure | summary sxhkd) || exit 1

echo "$wendle_line" "$tool_line" | awk '{
    printf "hotkey to window moved, %s presses each (ms)\n", "'"$runs"'"
    printf "  wendle:         median %7.3f  p90 %7.3f\n", $2, $3
    printf "  sxhkd + wmctrl: median %7.3f  p90 %7.3f\n", $5, $6
    printf "  ratio (wendle / sxhkd + wmctrl): median %.3f  p90 %.3f\n", $2 / $5, $3 / $6 }'
