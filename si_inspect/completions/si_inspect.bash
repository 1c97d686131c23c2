# bash completion of si_inspect

# The findings that have a limit.
_si_inspect_limits="pid_missing pid_unreferenced pcr_rare pcr_jump pat_rare pmt_rare nit_rare sdt_rare
    eit_rare eit_schedule_rare clock_rare ait_rare section_too_soon event_over event_gap
    event_overlap clock_wrong"

_si_inspect() {
    local word=${COMP_WORDS[COMP_CWORD]}
    local before=${COMP_WORDS[COMP_CWORD - 1]}
    local tables="pat pmt sdt nit eit ait tdt tot"
    local IFS=$' \t\n'

    case $before in
        --show) mapfile -t COMPREPLY < <(compgen -W "tables services findings guide differences" -- "$word") ;;
        --table) mapfile -t COMPREPLY < <(compgen -W "$tables" -- "$word") ;;
        --format) mapfile -t COMPREPLY < <(compgen -W "text json xmltv m3u html sections" -- "$word") ;;
        --color) mapfile -t COMPREPLY < <(compgen -W "auto always never" -- "$word") ;;
        --log-level)
            local levels="none error warning info debug debug1 debug2 debug3 debug4"
            mapfile -t COMPREPLY < <(compgen -W "$levels" -- "$word")
            ;;
        --limit-of)
            mapfile -t COMPREPLY < <(compgen -W "$_si_inspect_limits" -S = -- "$word")
            compopt -o nospace
            ;;
        --timeout | --pid | --service | --limit | --address | --utc-offset | --log-category)
            COMPREPLY=()
            ;;
        *)
            if [[ $before != --output && $word == -* ]]; then
                local options="--help --version --sections --no-crc --until-complete --timeout
                    --show --table --pid --service --limit-of --all --limit --format --output
                    --address --utc-offset --color --totals --quiet --strict --log-level
                    --log-category"
                mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
            else
                compopt -o filenames
                mapfile -t COMPREPLY < <(compgen -f -- "$word")
            fi
            ;;
    esac
}

complete -F _si_inspect si_inspect
