# bash completion for tarvexctl. The program itself says what may follow; this only hands it over. Nothing of what the
# user has typed, or of what the bus says, is ever run.

_tarvexctl()
{
    local kind word rest file program=$1
    [[ $program == "~/"* ]] && program=$HOME/${program:2} # the shell passes it as it is typed
    COMPREPLY=()
    while IFS=$'\t' read -r kind word rest; do
        case $kind in
        word)
            COMPREPLY+=("$word")
            ;;
        open)
            COMPREPLY+=("$word")
            compopt -o nospace
            ;;
        files)
            if [[ $word == *@ ]]; then # bash would take what follows as the name of a machine
                while IFS= read -r file; do
                    COMPREPLY+=("@$(printf %q "$file")")
                done < <(compgen -f -- "$rest")
            else
                compopt -o default
            fi
            ;;
        esac
    done < <("$program" complete bash -- "$COMP_WORDBREAKS" "${COMP_LINE:0:COMP_POINT}" 2>/dev/null)
}

complete -F _tarvexctl tarvexctl
