# bash completion for quilt-create

_quilt_create()
{
    local cur prev words cword
    _init_completion -s || return

    case $prev in
        --url | --probe | --name | --window-size | --opacity | --allow | --script-pattern)
            return
            ;;
        --icon | --user-script)
            _filedir
            return
            ;;
        --dest | --template)
            _filedir -d
            return
            ;;
        --remove)
            # The names of the apps made so far: first column of --list.
            local IFS=$'\n'
            COMPREPLY=($(compgen -W "$(quilt-create --list 2>/dev/null | cut -f1)" -- "$cur"))
            return
            ;;
    esac
    $split && return

    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W '--url --name --icon --window-size --opacity
            --allow --allow-all --status-bar-option --user-script
            --script-pattern --enterprise --dest --template --force --list
            --remove --purge --probe --no-site-identity --window --help --version' -- "$cur"))
    fi
} &&
    complete -F _quilt_create quilt-create
