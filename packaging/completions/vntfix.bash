# bash completion for vntfix(1): what is offered comes from the program itself.

_vntfix()
{
    local cur prev words cword
    _init_completion -n =: || return

    local -a answer
    mapfile -t answer < <("$1" __complete bash "${words[@]:1:cword-1}" "$cur" 2>/dev/null)

    # bash replaces only what stands behind the sign.
    local before=
    [[ $cur == --*=* && $COMP_WORDBREAKS == *=* ]] && before=${cur%%=*}=

    local line word
    for line in "${answer[@]:1}"; do
        word=${line%%$'\t'*}
        word=${word#"$before"}
        [[ $cur == *[\"\']* ]] || printf -v word %q "$word"
        COMPREPLY+=("$word")
    done
    __ltrim_colon_completions "$cur"

    [[ $cur == --*=* ]] && cur=${cur#*=}
    case ${answer[0]-} in
        any) _filedir ;;
        databases) _filedir 'mdb|accdb' ;;
        folders) _filedir -d ;;
    esac
} && complete -F _vntfix vntfix
