# Completion of kaltor's words in fish. The program itself knows what may follow.

function __kaltor_complete
    set -l words (commandline -opc) (commandline -ct)
    set -l candidates ($words[1] --complete $words[2..-1] 2>/dev/null)
    if test (count $candidates) -eq 0
        __fish_complete_path (commandline -ct)
    else
        printf '%s\n' $candidates
    end
end
complete -c kaltor -f -a '(__kaltor_complete)'
