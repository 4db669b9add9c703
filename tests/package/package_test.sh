#!/bin/bash
# The Debian package, built from the build tree and checked as a user gets it:
#   package_test.sh BUILD_DIR
# its control fields and file list; unpacked into a temporary root, where the installed
# tarn runs version, help and a move-app on a simulated desktop and wendle --version runs;
# its desktop entries, AppStream metadata and manual pages validated; its completions the
# ones the build generated (completion_test.sh drives those); `cmake --install` into another
# prefix; lintian with no error.
set -euo pipefail

build=$(cd "$1" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work/home XDG_CONFIG_HOME=$work/home/.config LC_ALL=C.UTF-8
unset DISPLAY TARN_SIM_DESKTOP WAYLAND_DISPLAY
mkdir -p "$HOME"

checks=0
fail() {
    echo "FAIL: $*" >&2
    exit 1
}
pass() {
    checks=$((checks + 1))
    echo "ok: $*"
}
# expect_equal WHAT GOT EXPECTED
expect_equal() {
    [[ $2 == "$3" ]] || fail "$1: got '$2', expected '$3'"
    pass "$1"
}

# The program's own version is the package's.
version_line=$("$build/tarn" version)
version=${version_line#tarn v}
version=${version%% *}
arch=$(dpkg --print-architecture)

cpack --config "$build/CPackConfig.cmake" -B "$work/out" >"$work/cpack.log" 2>&1 ||
    { cat "$work/cpack.log"; fail "cpack did not build the package"; }
deb=$work/out/tarn_${version}_${arch}.deb
[[ -f $deb ]] || { ls "$work/out"; fail "no $(basename "$deb")"; }
pass "built $(basename "$deb")"

# ---- Control fields.
field() { dpkg-deb -f "$deb" "$1"; }
expect_equal Package "$(field Package)" tarn
expect_equal Version "$(field Version)" "$version"
expect_equal Architecture "$(field Architecture)" "$arch"
expect_equal Section "$(field Section)" utils
expect_equal Priority "$(field Priority)" optional
expect_equal Homepage "$(field Homepage)" "$(sed -n 's/.*kWebsite = "\(.*\)";/\1/p' "$here/../../agent/ui/status_bar.h")"
[[ $(field Maintainer) == *"<"*"@"*">" ]] || fail "Maintainer: $(field Maintainer)"
pass Maintainer
depends=$(field Depends)
for needed in libc6 libqt6widgets6 libx11-6 qt6-qpa-plugins; do
    [[ $depends == *"$needed"* ]] || fail "Depends lacks $needed: $depends"
done
pass "Depends from dpkg-shlibdeps: $depends"
description=$(field Description)
[[ $(head -1 <<<"$description") == "move windows, type key sequences and bind hotkeys" &&
    $(wc -l <<<"$description") -gt 5 ]] || fail "Description: $description"
pass Description
# No maintainer scripts: nothing needs one.
members=$(dpkg-deb -I "$deb" | sed -n 's/^ *[0-9]* bytes, *[0-9]* lines *\** *\([^ ]*\).*/\1/p' | sort | tr '\n' ' ')
expect_equal "control members" "$members" "control md5sums "

# ---- The file list: exactly these files, the programs executable, the rest read-only.
dpkg-deb -c "$deb" >"$work/contents"
awk '$1 ~ /^-/ { print $6 }' "$work/contents" | sort >"$work/files"
awk '!/^#/ && NF' "$here/package_files.txt" | sort >"$work/expected_files"
diff -u "$work/expected_files" "$work/files" || fail "the package's files differ from package_files.txt"
pass "file list"
awk '$1 ~ /^-/ && $2 != "root/root" { print }' "$work/contents" | grep . && fail "files not owned by root"
awk '$1 ~ /^-/ && $6 ~ /^\.\/usr\/bin\// && $1 != "-rwxr-xr-x" { print }' "$work/contents" | grep . &&
    fail "programs not 0755"
awk '$1 ~ /^-/ && $6 !~ /^\.\/usr\/bin\// && $1 != "-rw-r--r--" { print }' "$work/contents" | grep . &&
    fail "data files not 0644"
pass "owners and modes"

# ---- Unpacked into a temporary root: the installed programs run.
root=$work/root
dpkg-deb -x "$deb" "$root"
expect_equal "tarn version" "$("$root/usr/bin/tarn" version)" "$version_line"
status=0
"$root/usr/bin/tarn" help 2>"$work/help" || status=$?
expect_equal "tarn help status" "$status" 0
grep -q "^Available Key Names" "$work/help" || fail "tarn help printed no key names"
pass "tarn help"
cp "$here/../common/basic_desktop.json" "$work/desktop.json"
TARN_SIM_DESKTOP=$work/desktop.json "$root/usr/bin/tarn" move-app right 2>"$work/move.log" ||
    { cat "$work/move.log"; fail "tarn move-app right"; }
# The 800x600 window at (100, 100) on a 1920x1080 screen: full width is the first step right.
grep -q '"width" : 1920' "$work/desktop.json" || { cat "$work/desktop.json"; fail "the window did not move"; }
[[ -f $XDG_CONFIG_HOME/Tarn/state.json ]] || fail "move-app saved no state"
pass "tarn move-app on a simulated desktop"
expect_equal "wendle --version" "$("$root/usr/bin/wendle" --version)" "wendle $version"
if ldd "$root/usr/bin/wendle" "$root/usr/bin/tarn" | grep "not found"; then
    fail "libraries missing"
fi
pass "every library found"

# ---- Desktop entries, icons, AppStream metadata.
entry=$root/usr/share/applications/org.tarn.wendle.desktop
autostart=$root/usr/share/tarn/wendle-autostart.desktop
desktop-file-validate "$entry" || fail "desktop-file-validate $entry"
desktop-file-validate "$autostart" || fail "desktop-file-validate $autostart"
pass "desktop-file-validate"
grep -qx 'Exec=/usr/bin/wendle' "$entry" || fail "menu entry's Exec"
# KWin grants fake input by these entries, matching the absolute path in Exec.
tarn_entry=$root/usr/share/applications/org.tarn.tarn.desktop
desktop-file-validate "$tarn_entry" || fail "desktop-file-validate $tarn_entry"
grep -qx 'Exec=/usr/bin/tarn' "$tarn_entry" || fail "tarn's entry's Exec"
for e in "$entry" "$tarn_entry"; do
    grep -qx 'X-KDE-Wayland-Interfaces=org_kde_kwin_fake_input' "$e" || fail "$e asks KWin for no fake input"
done
# The template is what the login item of the installed wendle writes.
grep -qx 'Exec=/usr/bin/wendle' "$autostart" || fail "autostart entry's Exec: $(grep Exec "$autostart")"
cmp <(sed 's|^Exec=.*|Exec=@EXEC@|' "$autostart") "$here/../../platform/xdg/wendle-autostart.desktop.in" ||
    fail "the installed autostart entry is not the login item's template"
pass "autostart entry"
for icon in $(grep -h '^Icon=' "$entry" "$autostart" | sort -u | cut -d= -f2); do
    [[ -f $root/usr/share/icons/hicolor/scalable/apps/$icon.svg ]] || fail "no scalable icon $icon"
    for png in "$root"/usr/share/icons/hicolor/*x*/apps/"$icon".png; do
        size=$(basename "$(dirname "$(dirname "$png")")")
        file "$png" | grep -q "PNG image data, ${size/x/ x }," || fail "$png is not $size"
    done
done
pass "icons"
metainfo=$root/usr/share/metainfo/org.tarn.wendle.metainfo.xml
appstreamcli validate --no-net --pedantic "$metainfo" >"$work/appstream" 2>&1 ||
    { cat "$work/appstream"; fail "appstreamcli validate"; }
grep -q "<release version=\"$version\"" "$metainfo" || fail "metainfo release is not $version"
pass "appstreamcli validate"

# ---- Manual pages: no groff warning, shown by man -l, with what they must hold.
for page in tarn wendle; do
    file=$root/usr/share/man/man1/$page.1.gz
    zcat "$file" | groff -ww -man -Tutf8 -z 2>"$work/groff" || fail "groff $page.1"
    [[ -s $work/groff ]] && { cat "$work/groff"; fail "groff warns about $page.1"; }
    MANWIDTH=80 man -l "$file" >"$work/$page.txt" 2>"$work/man" || fail "man -l $page.1"
    [[ -s $work/man ]] && { cat "$work/man"; fail "man warns about $page.1"; }
done
pass "manual pages render without warnings"
# The text of one section of a rendered page. (Its readers read it all: a grep -q that
# stops early would fail the pipeline.)
section() {
    awk -v name="$2" '/^[A-Z]/ { on = ($0 == name) } on' "$work/$1.txt"
}
commands=$(awk '/^Commands:/ { on = 1; next } on && /^$/ { exit } on { print $1 }' "$work/help")
for command in $commands healthcheck; do
    section tarn COMMANDS | grep "tarn $command" >/dev/null || fail "tarn(1) lacks the command $command"
done
for heading in "EXIT STATUS" ENVIRONMENT FILES EXAMPLES "KEYS LANGUAGE"; do
    [[ -n $(section tarn "$heading") ]] || fail "tarn(1) has no $heading"
done
for word in TARN_SIM_DESKTOP TARN_DESKTOP XDG_CONFIG_HOME XDG_DATA_DIRS DISPLAY; do
    section tarn ENVIRONMENT | grep "$word" >/dev/null || fail "tarn(1) ENVIRONMENT lacks $word"
done
# Every key name of the help text, and those only the key table has.
for word in keypadclear volumeup forwarddelete f20 leftbrace apostrophe; do
    section tarn "KEYS LANGUAGE" | grep -w -- "$word" >/dev/null || fail "tarn(1) lacks the key name $word"
done
# Lists grouped as a reader looks for them: function keys in their order, each character
# with all of its names.
for listed in '\fBf19\fR, \fBf20\fR' '\fB{dash}\fR, \fB{hyphen}\fR, \fB{minus}\fR'; do
    zcat "$root/usr/share/man/man1/tarn.1.gz" | grep -F -- "$listed" >/dev/null || fail "tarn(1) lacks $listed"
done
for option in --headless --help --version; do
    section wendle OPTIONS | grep -- "$option" >/dev/null || fail "wendle(1) lacks $option"
done
pass "manual pages hold every command, section and key name"

# ---- Completions: the ones the build made (and completion_test.sh drives).
cmp "$root/usr/share/bash-completion/completions/tarn" "$build/packaging/completions/tarn.bash"
cmp "$root/usr/share/zsh/vendor-completions/_tarn" "$build/packaging/completions/_tarn"
cmp "$root/usr/share/fish/vendor_completions.d/tarn.fish" "$build/packaging/completions/tarn.fish"
bash -n "$root/usr/share/bash-completion/completions/tarn"
zsh -n "$root/usr/share/zsh/vendor-completions/_tarn"
fish --no-execute "$root/usr/share/fish/vendor_completions.d/tarn.fish"
pass "completions installed"

# ---- cmake --install into another prefix: the files that depend on it follow it.
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >"$work/install.log" 2>&1 || { cat "$work/install.log"; fail "cmake --install"; }
[[ -f $prefix/share/zsh/site-functions/_tarn ]] || fail "zsh completion not in site-functions"
grep -qx "Exec=$prefix/bin/wendle" "$prefix/share/tarn/wendle-autostart.desktop" ||
    fail "autostart entry under $prefix: $(grep Exec "$prefix/share/tarn/wendle-autostart.desktop")"
pass "cmake --install --prefix"

# ---- lintian: no error, and each warning explained in lintian_expected.txt; the
# informational tags are shown.
command -v lintian >/dev/null || fail "lintian is not installed (scripts/setup installs it)"
lintian --no-cfg --display-info "$deb" >"$work/lintian" 2>&1 || true
grep '^[EWI]:' "$work/lintian" || true
if grep -q '^E:' "$work/lintian"; then fail "lintian reports errors"; fi
sed -n 's/^W: tarn[^:]*: \([^ ]*\).*/\1/p' "$work/lintian" | sort -u >"$work/warnings"
awk '!/^#/ && NF { print $1 }' "$here/lintian_expected.txt" | sort -u >"$work/explained"
unexplained=$(comm -23 "$work/warnings" "$work/explained")
[[ -z $unexplained ]] || fail "lintian warnings not explained in lintian_expected.txt: $unexplained"
pass "lintian: no error, every warning explained"

echo "package: $checks passed, 0 failed"
