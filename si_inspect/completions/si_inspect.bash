# bash completion of si_inspect

_si_inspect() {
    local word=${COMP_WORDS[COMP_CWORD]}
    local before=${COMP_WORDS[COMP_CWORD - 1]}
    local tables="pat pmt sdt nit eit ait tdt tot"
    local IFS=$' \t\n'

    case $before in
        --show) mapfile -t COMPREPLY < <(compgen -W "tables services guide" -- "$word") ;;
        --table) mapfile -t COMPREPLY < <(compgen -W "$tables" -- "$word") ;;
        --format) mapfile -t COMPREPLY < <(compgen -W "text json xmltv m3u sections" -- "$word") ;;
        --color) mapfile -t COMPREPLY < <(compgen -W "auto always never" -- "$word") ;;
        --log-level)
            local levels="none error warning info debug debug1 debug2 debug3 debug4"
            mapfile -t COMPREPLY < <(compgen -W "$levels" -- "$word")
            ;;
        --pid | --service | --limit | --address | --utc-offset | --log-category) COMPREPLY=() ;;
        *)
            if [[ $before != --output && $word == -* ]]; then
                local options="--help --version --sections --no-crc --show --table --pid --service
                    --all --limit --format --output --address --utc-offset --color --totals --quiet
                    --strict --log-level --log-category"
                mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
            else
                compopt -o filenames
                mapfile -t COMPREPLY < <(compgen -f -- "$word")
            fi
            ;;
    esac
}

complete -F _si_inspect si_inspect
