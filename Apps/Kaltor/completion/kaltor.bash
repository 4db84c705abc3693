# Completion of kaltor's words in bash. The program itself knows what may follow.

_kaltor() {
    local line=${COMP_LINE:0:COMP_POINT} words=() part broken candidate
    # Bash ends words at '=' and ':', too: what stands together is joined again.
    for part in "${COMP_WORDS[@]:0:COMP_CWORD+1}"; do
        if [[ ${#words[@]} -gt 0 && -n $line && $line != [[:space:]]* ]]; then
            words[-1]+=$part
        else
            words+=("$part")
            line=${line#"${line%%[![:space:]]*}"}
        fi
        line=${line#"$part"}
    done
    # Only what comes after the last of these signs is replaced.
    broken=${words[-1]%"${words[-1]##*[=:]}"}
    COMPREPLY=()
    while IFS=$'\t' read -r candidate _; do
        COMPREPLY+=("${candidate#"$broken"}")
    done < <("${words[0]}" --complete "${words[@]:1}" 2>/dev/null)
    if ((${#COMPREPLY[@]} == 0)); then
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -f -- "${words[-1]#"$broken"}")
    elif [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == *[=:] ]]; then
        compopt -o nospace
    fi
}
complete -F _kaltor kaltor
