# Completion of vnqctl for bash. The program itself knows its commands and options, so nothing is listed here.

_vnqctl() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} path=() each help
    COMPREPLY=()
    case "$before" in
        --app-path) mapfile -t COMPREPLY < <(compgen -d -- "$word") && return ;;
        --*file | --csv | --from | --to) mapfile -t COMPREPLY < <(compgen -f -- "$word") && return ;;
    esac
    for each in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ "$each" == -* || ${#path[@]} -ge 2 ]] && break
        path+=("$each")
    done
    help=$("${COMP_WORDS[0]}" "${path[@]}" --help 2>/dev/null) ||
        help=$("${COMP_WORDS[0]}" "${path[@]:0:1}" --help 2>/dev/null) || return
    if [[ "$word" == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(grep -oE -- '(^|[ ,])--[a-z][a-z-]*' <<<"$help" | tr -d ', ')" -- "$word")
    else
        mapfile -t COMPREPLY < <(compgen -W "$(sed -n '/^Subcommands:/,$s/^  \([a-z][a-z-]*\).*/\1/p' <<<"$help")" -- "$word")
        [[ ${#COMPREPLY[@]} -gt 0 ]] || mapfile -t COMPREPLY < <(compgen -f -- "$word")
    fi
}
complete -o filenames -F _vnqctl vnqctl
