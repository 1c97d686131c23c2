# bash completion of si_exporter

# The findings that have a limit.
_si_exporter_limits="pid_missing pid_unreferenced pcr_rare pcr_jump pat_rare pmt_rare nit_rare sdt_rare
    eit_rare eit_schedule_rare clock_rare ait_rare section_too_soon event_over event_gap
    event_overlap clock_wrong"

_si_exporter() {
    local word=${COMP_WORDS[COMP_CWORD]}
    local before=${COMP_WORDS[COMP_CWORD - 1]}
    local IFS=$' \t\n'

    case $before in
        --limit-of)
            mapfile -t COMPREPLY < <(compgen -W "$_si_exporter_limits" -S = -- "$word")
            compopt -o nospace
            ;;
        --web.listen-address | --utc-offset)
            COMPREPLY=()
            ;;
        *)
            if [[ $before != --inputs && $word == -* ]]; then
                local options="--help --version --inputs --web.listen-address --limit-of --utc-offset"
                mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
            else
                # Behind a NAME, bash takes the '=' for a word.
                compopt -o filenames
                mapfile -t COMPREPLY < <(compgen -f -- "${word#=}")
            fi
            ;;
    esac
}

complete -F _si_exporter si_exporter
