#!/bin/bash
# The headless agent's own costs on a private Xvfb + openbox (the X11 tests' desktop): launch
# to every chord of RULES rules grabbed, CPU used while idle for IDLE seconds, resident
# memory idle, and resident memory after PRESSES presses of a bound chord (pointer to the
# centre of screen 0, the cheapest action) against the same after the first tenth of them.
#
# usage: bench/agent/wendle_headless.sh [RULES] [IDLE] [PRESSES]   (needs the default build)
set -u
root=$(cd "$(dirname "$0")/../.." && pwd)
if [ "${TARN_BENCH_ON_DESKTOP:-}" != 1 ]; then
    TARN_BENCH_ON_DESKTOP=1 exec "$root/tests/x11/with-x11.sh" "$0" "$@"
fi
rules=${1:-1000}
idle=${2:-60}
presses=${3:-10000}
wendle="$root/build/default/wendle"
[ -x "$wendle" ] || { echo "wendle_headless: $wendle is not built" >&2; exit 1; }

work=$(mktemp -d "${TMPDIR:-/tmp}/wendle-headless.XXXXXX") || exit 1
pid=""
trap '[ -n "$pid" ] && kill "$pid" 2>/dev/null; wait 2>/dev/null; rm -rf "$work"' EXIT
export XDG_CONFIG_HOME="$work/config" XDG_RUNTIME_DIR="$work/run"
mkdir -p "$XDG_CONFIG_HOME/Tarn" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"

# RULES distinct chords; the first is command+option+F12 (key code 111, modifiers 8|4), the
# pressed one (control+alt+F12 would be the server's own console switch).
# The others leave out the modifier keys themselves (key codes 54 to 63) and F12.
keys=($(seq 0 53) $(seq 64 110) $(seq 112 126))
{
    printf '{"globalRules":['
    printf '{"id":"3C0E2F9A-7B1D-4E55-9A6C-000000000000","chord":{"keyCode":111,"modifiers":12},'
    printf '"action":{"moveMouse":{"target":{"screen":{"index":0}},"position":"Center"}},"swallow":true}'
    for ((i = 1; i < rules; i++)); do
        printf ',{"id":"3C0E2F9A-7B1D-4E55-9A6C-%012d","chord":{"keyCode":%d,"modifiers":%d},' \
            "$i" "${keys[i % ${#keys[@]}]}" $(((i / ${#keys[@]}) % 16))
        printf '"action":{"moveWindow":{"direction":"left"}},"swallow":true}'
    done
    printf '],"appConfigs":[]}'
} >"$XDG_CONFIG_HOME/Tarn/wendle-config.json"

now_ms() { echo $(($(date +%s%N) / 1000000)); }
wait_until() {  # polls every 5 ms for at most 30 s
    local tries=0
    until eval "$1"; do
        tries=$((tries + 1))
        [ "$tries" -ge 6000 ] && { echo "wendle_headless: timed out waiting for: $1" >&2; exit 1; }
        sleep 0.005
    done
}
rss() { sed -n 's/VmRSS:[[:space:]]*//p' "/proc/$pid/status"; }
ticks() { awk '{print $14 + $15}' "/proc/$pid/stat"; }  # user + system, in clock ticks
pressed() { grep -c 'Action: moveMouse' "$work/wendle.log"; }
press() {  # N presses in batches of 500, then waits until every action has run
    local target=$(($(pressed) + $1)) left=$1 batch
    while [ "$left" -gt 0 ]; do
        batch=$((left < 500 ? left : 500))
        xdotool key --delay 0 $(printf 'super+alt+F12 %.0s' $(seq "$batch"))
        left=$((left - batch))
    done
    wait_until '[ "$(pressed)" -ge "$target" ]'
}

start=$(now_ms)
WENDLE_LOG_STDERR=1 "$wendle" --headless 2>"$work/wendle.log" &
pid=$!
wait_until 'grep -q "Keystroke interceptor started successfully" "$work/wendle.log" 2>/dev/null'
echo "launch to $rules rules grabbed: $(($(now_ms) - start)) ms  (load $(cut -d' ' -f1-3 /proc/loadavg))"
sleep 1  # the save after launch, and the second rebuild it brings
before=$(ticks)
sleep "$idle"
echo "idle CPU over $idle s: $(($(ticks) - before)) ticks of 1/$(getconf CLK_TCK) s  (load $(cut -d' ' -f1-3 /proc/loadavg))"
echo "resident memory, idle: $(rss)"
press $((presses / 10))
echo "resident memory after $((presses / 10)) presses: $(rss)"
press $((presses - presses / 10))
echo "resident memory after $presses presses: $(rss)  (load $(cut -d' ' -f1-3 /proc/loadavg))"
