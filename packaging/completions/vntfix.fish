# fish completion for vntfix(1): what is offered comes from the program itself.

function __fish_vntfix
    set -l before (commandline --cut-at-cursor --current-process --tokenize)
    set -l program $before[1]
    set -e before[1]
    command --query $program; or return
    set -l typed (commandline --cut-at-cursor --current-token)
    set -l answer ($program __complete fish $before "$typed" 2>/dev/null)
    set -l files $answer[1]
    set -e answer[1]
    string join -- \n $answer

    # Of --option=path only what stands behind the sign is a path.
    set -l option (string match --regex -- '^--[^=]*=' $typed)
    set -l path (string replace --regex -- '^--[^=]*=' '' $typed)
    set -l wanted
    switch "$files"
        case any
            set wanted .
        case databases
            set wanted '^[^\t]*(?:/|\.mdb|\.accdb)(?:\t|$)'
        case folders
            set wanted '^[^\t]*/(?:\t|$)'
        case '*'
            return
    end
    for file in (complete --do-complete "'' $path" | string match --regex --ignore-case --entire -- $wanted)
        echo "$option$file"
    end
end

complete --command vntfix --no-files --keep-order --arguments '(__fish_vntfix)'
