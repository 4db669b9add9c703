#!/bin/sh
# wendle's start-up with a large configuration, on a private X desktop: launch to tray icon
# docked (trayer as the tray), launch to settings window shown (a desktop without a tray,
# where the window opens at launch), and the resident memory once idle with the window open.
#
# usage: tests/x11/with-x11.sh bench/agent/ui/wendle_startup.sh build/default/wendle [RULES]
set -u
wendle=$1
rules=${2:-1000}
work=$(mktemp -d "${TMPDIR:-/tmp}/wendle-bench.XXXXXX") || exit 1
pids=""
trap 'for p in $pids; do kill $p 2>/dev/null; done; wait 2>/dev/null; rm -rf "$work"' EXIT

XDG_CONFIG_HOME=$work/config
XDG_RUNTIME_DIR=$work/runtime
export XDG_CONFIG_HOME XDG_RUNTIME_DIR
mkdir -p "$XDG_CONFIG_HOME/Tarn" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
{
    printf '{"globalRules":['
    i=0
    while [ "$i" -lt "$rules" ]; do
        [ "$i" -gt 0 ] && printf ','
        printf '{"chord":{"keyCode":%d,"modifiers":%d},"action":{"moveWindow":{"direction":"left"}},"swallow":true}' \
            $((i % 120)) $((i % 16))
        i=$((i + 1))
    done
    printf '],"appConfigs":[]}'
} >"$XDG_CONFIG_HOME/Tarn/wendle-config.json"

now_ms() { echo $(($(date +%s%N) / 1000000)); }
wait_ms() {  # prints the milliseconds until the condition held (at most 20 s)
    start=$1
    tries=0
    until eval "$2"; do
        tries=$((tries + 1))
        [ "$tries" -ge 4000 ] && { echo "timeout"; return 1; }
        sleep 0.005
    done
    echo $(($(now_ms) - start))
}

# Launch to settings window, no tray on the desktop.
start=$(now_ms)
"$wendle" >"$work/first.log" 2>&1 &
pid=$!
pids="$pids $pid"
echo "launch to settings window shown ($rules rules, no tray): $(wait_ms "$start" \
    "xdotool search --onlyvisible --name 'Calvex Settings' >/dev/null 2>&1") ms"
sleep 2
echo "resident memory, idle with the settings window: $(sed -n 's/VmRSS:[[:space:]]*//p' /proc/$pid/status)"
kill "$pid"
wait "$pid" 2>/dev/null

trayer --edge top --align right --monitor primary --widthtype pixel --width 96 --height 32 \
    >/dev/null 2>&1 &
pids="$pids $!"
until xdotool search --onlyvisible --class trayer >/dev/null 2>&1; do sleep 0.01; done
start=$(now_ms)
"$wendle" >"$work/second.log" 2>&1 &
pid=$!
pids="$pids $pid"
# Docked: wendle's icon window is mapped inside the tray.
echo "launch to tray icon docked ($rules rules): $(wait_ms "$start" \
    "xdotool search --onlyvisible --class wendle >/dev/null 2>&1") ms"
sleep 2
echo "resident memory, idle in the tray: $(sed -n 's/VmRSS:[[:space:]]*//p' /proc/$pid/status)"
