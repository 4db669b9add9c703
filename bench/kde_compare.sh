#!/bin/sh
# Timings on a private headless KWin (tests/kde/with-kwin.sh), printed as medians of RUNS:
#   - `tarn move-app right`, process start to exit (the frame is assigned in KWin when tarn
#     exits), beside /bin/true and one `gdbus call` to KWin, the cost of any process that
#     asks KWin anything;
#   - hotkey to window moved: wendle running with ⌃⌥↑ bound to move-app up, the chord
#     pressed through KWin's fake input (a small typing of `tarn keys`, whose own start is
#     measured and taken away), until the test client logs its new size.
# tarn is a stripped copy of the build tree's, as the package installs it: KWin reads a
# client's whole executable when it connects over Wayland (tarn keys does), so the 36 MB of
# debug information of a RelWithDebInfo build would cost some 400 ms a connection.
#
# usage: bench/kde_compare.sh [RUNS]   (tarn, wendle and the Wayland test client built)
set -u
root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build/default
if [ "${2:-}" != "--on-private-kwin" ]; then
    exec "$root/tests/kde/with-kwin.sh" "$0" "${1:-20}" --on-private-kwin
fi
runs=$1
work=$(mktemp -d)
trap 'kill $client $agent 2>/dev/null; wait 2>/dev/null; rm -rf "$work"' EXIT
export HOME=$work XDG_CONFIG_HOME=$work/.config
strip -o "$work/tarn" "$build/tarn"

now() { date +%s%N; }
median() { sort -n | awk '{a[NR]=$1} END {m=a[int((NR+1)/2)]; printf "%.2f ms\n", m/1e6}'; }
timed() {
    i=0
    while [ $i -lt "$runs" ]; do
        t0=$(now); "$@" >/dev/null 2>&1; t1=$(now)
        echo $((t1 - t0)); i=$((i + 1))
    done | median
}

$build/tests/wayland/tarn_wayland_test_client --log "$work/client.log" --size 800x605 &
client=$!
until grep -q '^focus 1' "$work/client.log" 2>/dev/null; do sleep 0.01; done

echo "/bin/true:                 $(timed /bin/true)"
echo "gdbus call to KWin:        $(timed gdbus call --session -d org.kde.KWin -o /KWin -m org.kde.KWin.currentDesktop)"
echo "tarn move-app right:       $(timed "$work/tarn" move-app right)"

mkdir -p "$XDG_CONFIG_HOME/Tarn"
printf '%s' '{"globalRules":[{"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B61","chord":{"keyCode":126,"modifiers":6},"action":{"moveWindow":{"direction":"up"}},"swallow":true}],"appConfigs":[]}' \
    >"$XDG_CONFIG_HOME/Tarn/wendle-config.json"
WENDLE_LOG_STDERR=1 "$build/wendle" --headless 2>"$work/wendle.log" &
agent=$!
until grep -q "Keystroke interceptor started" "$work/wendle.log" 2>/dev/null; do sleep 0.01; done
typing=$(timed "$work/tarn" keys "a")
i=0
while [ $i -lt "$runs" ]; do
    sizes=$(grep -c '^size' "$work/client.log")
    t0=$(now)
    "$work/tarn" keys "{ctrl+option+up}" >/dev/null 2>&1
    # Every press changes the size: full height, full screen, back home.
    until [ "$(grep -c '^size' "$work/client.log")" -gt "$sizes" ]; do :; done
    t1=$(now)
    echo $((t1 - t0)); i=$((i + 1))
    sleep 0.2
done | median | sed "s/^/hotkey to moved (incl. typing):  /"
echo "  (typing one key with tarn keys alone: $typing)"
