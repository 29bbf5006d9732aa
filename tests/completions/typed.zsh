# Types each line and a tab into a bash or zsh on a terminal of its own, and prints what the shell offers, one
# candidate a line without quotes, after "== LINE"; then "-> " and the line that the tab has left.
# Usage: zsh -f typed.zsh bash|zsh FOLDER_OF_COMPLETIONS LINE...
zmodload zsh/zpty zsh/zselect
folder=$(mktemp -d)
trap 'zpty -d shell; rm -rf "$folder"' EXIT
export offered=$folder/offered completions=$2
shell=$1
shift 2

cat >$folder/zsh <<'SETUP'
PROMPT= RPROMPT=
fpath=($completions $fpath)
autoload -Uz compinit
compinit -u -D
compadd() {
  if [[ ${@[1,(i)(-|--)]} != *-(O|A|D)\ * ]]; then
    local -a words
    builtin compadd -A words "$@"
    (( $#words )) && print -rl -- "${(@Q)words}" >>$offered
  fi
  builtin compadd "$@"
}
tell() { print -rl -- "-> $BUFFER" end >>$offered; BUFFER= }
zle -N tell
bindkey '^T' tell
print end >$offered
SETUP
cat >$folder/bash <<'SETUP'
PS1=
source /usr/share/bash-completion/bash_completion
source $completions/vntfix.bash
probe() {
  _vntfix "$@"
  local word
  for word in "${COMPREPLY[@]}"; do
    [[ $2 == *[\"\']* ]] || eval "word=$word"
    printf '%s\n' "$word" >>$offered
  done
}
complete -F probe vntfix
tell() { printf '%s\n' "-> $READLINE_LINE" end >>$offered; READLINE_LINE=; }
bind -x '"\C-t": tell'
echo end >$offered
SETUP

wait_for_end() {
  local seen
  integer tries=0
  until [[ -e $offered && $(<$offered) == (|*$'\n')end ]]; do
    while zpty -rt shell seen; do :; done
    zselect -t 2
    (( ++tries < 1000 )) || { print -u2 "$shell does not answer"; exit 1 }
  done
}
case $shell in
  bash) zpty shell bash --norc -i ;;
  zsh) zpty shell zsh -f -i ;;
esac
zpty -w shell "source $folder/$shell"
wait_for_end
for line; do
  print -r -- "== $line"
  : >$offered
  zpty -w -n shell "$line"$'\t\x14'
  wait_for_end
  sed '$d' $offered
done
