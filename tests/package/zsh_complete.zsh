#!/bin/zsh -f
# Prints, one a line, what zsh's completion offers at the end of a partial command line:
#   zsh -f zsh_complete.zsh COMPLETIONS_DIR LINE
# An interactive zsh runs on a pseudo-terminal (zpty) with the completions' folder in its
# fpath; the line is typed and Tab pressed. compadd is wrapped to print each match it
# accepts (with the part of the word the completion kept before it), between two NUL lines
# that the completion system's pre and post hooks print; the post hook ends the shell.
zmodload zsh/zpty || exit 2
local dir=$1 line=$2

zpty z zsh -f -i
zpty -w z "PROMPT= RPROMPT=; unsetopt zle_bracketed_paste 2>/dev/null"
zpty -w z "fpath=(${(q)dir} \$fpath); autoload -Uz compinit; compinit -u -D"
zpty -w z "zstyle ':completion:*' list-grouped false; zstyle ':completion:*' insert-tab false"
zpty -w z "tarn_null_line() { echo -E - \$'\\0' }"
zpty -w z "compprefuncs=(tarn_null_line); comppostfuncs=(tarn_null_line exit)"
# The calls that only ask for matches (-O, -A, -D) are the completion system's own; the
# others add matches, which are printed as the word they make: what the word keeps before
# the part completed (an opening quote, a brace zsh handles itself), the ignored prefix,
# the match.
zpty -w z 'compadd() {
    if [[ ${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]]; then
        builtin compadd "$@"
        return $?
    fi
    local -a tarn_hits tarn_prefix
    builtin compadd -A tarn_hits "$@"
    zparseopts -E P:=tarn_prefix
    local hit
    for hit in $tarn_hits; do
        echo -E - "${words[CURRENT]%${(b)IPREFIX}${(b)PREFIX}${(b)SUFFIX}}$IPREFIX${tarn_prefix[2]}$hit"
    done
    builtin compadd "$@"
}'
# Last, so that nothing typed after it is lost: Return no longer runs a line.
zpty -w z "bindkey '^I' complete-word; bindkey '^M' undefined-key; bindkey '^J' undefined-key"
zpty -n -w z "$line"$'\t'

local output="" chunk
while zpty -r z chunk; do
    output+=$chunk
done
zpty -d z
# Between the first and the second NUL line.
local -a parts
parts=("${(@ps:\0:)output}")
(( $#parts >= 3 )) || exit 3
print -r -- "${parts[2]//$'\r'/}"
