#!/bin/bash
# Drives one shell's completion of `tarn` through every row of completion_table.txt and
# compares what it offers with the row.
#   completion_test.sh bash|zsh|fish COMPLETIONS_DIR TARN_BINARY
# bash: the completion function called with COMP_WORDS and COMP_CWORD set as bash sets them;
# zsh: a real interactive zsh on a pseudo-terminal (zpty) pressing Tab, with compadd
# recording the matches; fish: `complete -C`.
set -euo pipefail

shell=$1
completions=$(cd "$2" && pwd)
tarn=$3
here=$(cd "$(dirname "$0")" && pwd)

command -v "$shell" >/dev/null || { echo "FAIL: $shell is not installed (scripts/setup installs it)"; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The settings the completion lists come from a settings file of their own, written by tarn.
export HOME=$work/home XDG_CONFIG_HOME=$work/home/.config
unset DISPLAY TARN_SIM_DESKTOP
mkdir -p "$HOME"
mkdir -p "$work/bin"
ln -s "$(cd "$(dirname "$tarn")" && pwd)/$(basename "$tarn")" "$work/bin/tarn"
export PATH=$work/bin:$PATH
tarn settings browser "Google Chrome" >/dev/null
tarn settings theme dark >/dev/null
set -f  # the table's words are words, not patterns

# The words of a partial line as bash's completion sees them: split at blanks outside
# quotes, quotes kept; a line that ends in a blank starts an empty word.
split_words() {
    local line=$1 word="" quote="" c i
    words=()
    for ((i = 0; i < ${#line}; i++)); do
        c=${line:i:1}
        if [[ -n $quote ]]; then
            [[ $c == "$quote" ]] && quote=""
            word+=$c
        elif [[ $c == '"' || $c == "'" ]]; then
            quote=$c
            word+=$c
        elif [[ $c == ' ' ]]; then
            [[ -n $word ]] && words+=("$word")
            word=""
        else
            word+=$c
        fi
    done
    words+=("$word")
}

complete_bash() {
    local line=$1 words
    split_words "$line"
    bash --norc --noprofile -c '
        source "$1/tarn.bash"
        shift
        COMP_LINE=$1 COMP_POINT=${#1}
        shift
        COMP_WORDS=("$@")
        COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
        cur=${COMP_WORDS[COMP_CWORD]}
        cur=${cur#[\"\x27]}
        _tarn tarn "$cur" "${COMP_WORDS[COMP_CWORD - 1]}"
        printf "%s\n" "${COMPREPLY[@]}"
    ' complete "$completions" "$line" "${words[@]}"
}

complete_zsh() {
    timeout 20 zsh -f "$here/zsh_complete.zsh" "$completions" "$1"
}

complete_fish() {
    TARN_LINE=$1 fish --no-config -c "source $completions/tarn.fish; complete -C \$TARN_LINE" |
        cut -f1
}

# The candidates, one a line, as words: quotes the shell put around them dropped.
sorted_words() {
    awk 'NF' | LC_ALL=C sort -u | tr '\n' ' ' | sed 's/ $//'
}
normalize() {
    sed -e 's/\r$//' -e "s/^[\"']//" -e "s/[\"']\$//" -e 's/\\\([{} ]\)/\1/g' | sorted_words
}

failed=0
rows=0
while IFS= read -r row; do
    [[ -z $row || $row == \#* ]] && continue
    line=${row%% => *}
    [[ $row == *" => "* ]] || line=${row% =>}
    expected=""
    [[ $row == *" => "* ]] && expected=${row#* => }
    expected=$(printf '%s\n' $expected | sorted_words)
    got=$(complete_"$shell" "$line" 2>"$work/stderr" | normalize) || true
    rows=$((rows + 1))
    if [[ $got != "$expected" || -s $work/stderr ]]; then
        failed=$((failed + 1))
        echo "FAIL [$shell] '$line'"
        echo "    expected: $expected"
        echo "    got:      $got"
        [[ -s $work/stderr ]] && sed 's/^/    stderr: /' "$work/stderr"
    fi
done <"$here/completion_table.txt"

echo "$shell: $((rows - failed)) passed, $failed failed"
[[ $failed -eq 0 ]]
