#!/bin/sh
# What `scripts/run kde` shows: tarn and wendle on a private headless KWin (two 1920x1080
# outputs, as the KDE tests use). A weston-terminal is moved through the left/right cycle,
# up to full height and back, minimised and restored; a command is typed into it and the
# pointer sent to the second output; then wendle starts headless with a demo configuration
# and two of its chords, pressed through KWin's fake input, move the terminal. A screenshot
# per step (KWin's own, org.kde.kwin.Screenshot) goes to out/tour/kde-*.png.
#
# usage: scripts/run kde       (tarn and wendle must be built: make build)
set -u
root=$(cd "$(dirname "$0")/.." && pwd)
tarn="$root/build/default/tarn"
wendle="$root/build/default/wendle"
for program in "$tarn" "$wendle"; do
    [ -x "$program" ] || { echo "scripts/run kde: $program is not built (make build)" >&2; exit 1; }
done
if [ "${1:-}" != "--on-private-kwin" ]; then
    exec "$root/tests/kde/with-kwin.sh" "$0" --on-private-kwin
fi
command -v weston-terminal >/dev/null || { echo "scripts/run kde: weston-terminal is missing (make setup)" >&2; exit 1; }

work=$(mktemp -d "${TMPDIR:-/tmp}/tarn-tour-kde.XXXXXX") || exit 1
pids=""
cleanup() {
    for pid in $pids; do kill "$pid" 2>/dev/null; done
    wait 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM
XDG_CONFIG_HOME=$work/config
export XDG_CONFIG_HOME
shots="$root/out/tour"
mkdir -p "$shots" && rm -f "$shots"/kde-*.png
number=0

screenshot() {
    number=$((number + 1))
    sleep 1  # let the client draw its new size and KWin repaint
    file=$(gdbus call --session -d org.kde.KWin -o /Screenshot \
        -m org.kde.kwin.Screenshot.screenshotFullscreen | sed -n "s/^('\(.*\)',)$/\1/p")
    name=$(printf 'kde-%02d-%s.png' "$number" "$1")
    if [ -n "$file" ] && mv "$file" "$shots/$name"; then
        echo "    screenshot out/tour/$name"
    else
        echo "    (no screenshot: KWin's screenshot interface did not answer)"
    fi
}

tour_step() {
    name=$1
    shift
    echo "\$ tarn $*"
    "$tarn" "$@" || echo "    tarn exited with status $?"
    screenshot "$name"
}

weston-terminal >/dev/null 2>&1 &
pids="$pids $!"
sleep 1.5
echo "Tour on a private KWin ($WAYLAND_DISPLAY); screenshots in out/tour/kde-*.png"
screenshot start
tour_step right-1 move-app right
tour_step right-2 move-app right
tour_step right-3 move-app right
tour_step right-4 move-app right
tour_step up move-app up
tour_step down move-app down
tour_step restored move-app down
tour_step keys keys "echo hello from tarn on KWin{enter}"
tour_step pointer move-mouse screen 1 center

cat >"$work/wendle-config.json" <<'JSON'
{"globalRules":[
 {"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B61","chord":{"keyCode":124,"modifiers":6},"action":{"moveWindow":{"direction":"right"}},"swallow":true},
 {"id":"3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B62","chord":{"keyCode":123,"modifiers":6},"action":{"moveWindow":{"direction":"left"}},"swallow":true}],
 "appConfigs":[]}
JSON
mkdir -p "$XDG_CONFIG_HOME/Tarn" && mv "$work/wendle-config.json" "$XDG_CONFIG_HOME/Tarn/"
echo "\$ wendle --headless   (⌃⌥→ moves right, ⌃⌥← moves left)"
WENDLE_LOG_STDERR=1 "$wendle" --headless >"$work/wendle.log" 2>&1 &
pids="$pids $!"
tries=0
until grep -q "Keystroke interceptor started" "$work/wendle.log" 2>/dev/null; do
    tries=$((tries + 1))
    [ "$tries" -ge 500 ] && { echo "wendle did not start:"; cat "$work/wendle.log"; exit 1; }
    sleep 0.02
done
echo "    KWin files its shortcuts: $(gdbus call --session -d org.kde.kglobalaccel -o /kglobalaccel \
    -m org.kde.KGlobalAccel.allActionsForComponent "['kwin']" | grep -o "tarn-[^']*" | tr '\n' ' ')"
echo "(⌃⌥→ pressed through fake input)"
"$tarn" keys "{ctrl+option+right}"
screenshot wendle-right
echo "(⌃⌥← pressed through fake input)"
"$tarn" keys "{ctrl+option+left}"
screenshot wendle-left
echo "Done: screenshots in out/tour/kde-*.png"
