# Completion of kaltor's words in bash: verbs, options, names, fields and their values.

_kaltor() {
    local program=${COMP_WORDS[0]} verb=${COMP_WORDS[1]:-} word=$2 before=$3 name line
    # '=' and ':' end words here: the whole of what is typed counts.
    line=${COMP_LINE:0:COMP_POINT}
    COMPREPLY=()
    if ((COMP_CWORD == 1)); then
        mapfile -t COMPREPLY < <(compgen -W "list describe apply strip render check convert farm gallery bench doctor --help --version" -- "$word")
        return
    fi
    if [[ $verb == farm ]]; then
        if ((COMP_CWORD == 2)); then
            mapfile -t COMPREPLY < <(compgen -W "submit status wait cancel retry run join" -- "$word")
            return
        fi
        verb+=" ${COMP_WORDS[2]}"
    fi
    if [[ $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$("$program" $verb --help 2>/dev/null | grep -oE -- '--[a-z][a-z-]*' | sort -u)" -- "$word")
        return
    fi
    case $verb in
        describe | apply | strip)
            if ((COMP_CWORD == 2)); then
                mapfile -t COMPREPLY < <(compgen -W "$("$program" list --names 2>/dev/null)" -- "$word")
                return
            fi
            name=${COMP_WORDS[2]}
            if [[ $before == --set ]]; then
                mapfile -t COMPREPLY < <(compgen -S = -W "$("$program" describe "$name" 2>/dev/null | awk '/^  /{print $1}')" -- "$word")
                compopt -o nospace
                return
            fi
            ;;
        bench)
            mapfile -t COMPREPLY < <(compgen -W "$("$program" list --names 2>/dev/null)" -- "$word")
            return
            ;;
        gallery)
            if [[ $line == *--only* ]]; then
                mapfile -t COMPREPLY < <(compgen -W "$("$program" list --names 2>/dev/null)" -- "$word")
                return
            fi
            ;;
        render)
            case $before in
                --transition) mapfile -t COMPREPLY < <(compgen -W "none $("$program" list transition --names 2>/dev/null)" -- "$word") && return ;;
                --fit) mapfile -t COMPREPLY < <(compgen -W "whole fill stretch blur" -- "$word") && return ;;
                --effect) mapfile -t COMPREPLY < <(compgen -W "$("$program" list effect --names 2>/dev/null)" -- "$word") && return ;;
            esac
            ;;
    esac
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
}
complete -F _kaltor kaltor
