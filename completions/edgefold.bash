# bash completion for edgefold(1)

# The inputs of -file: the last path of the list is completed, those in front of it stay.
_edgefold_inputs() {
    local list=${1//\\;/;} before='' path
    if [[ $list == *';'* ]]; then before=${list%;*}';'; fi
    while IFS= read -r path; do
        if [[ -n $before && -d $path ]]; then path+=/; fi
        COMPREPLY+=("$before$path")
    done < <(compgen -f -- "${list##*;}")
    compopt -o filenames -o nospace 2>/dev/null
}

# Bash passes the command, the word to complete and the word in front of it.
_edgefold() {
    local options='-append -dump -file -help -nologo -out -quiet -sort -trace'
    COMPREPLY=()
    case $3 in
        -file) _edgefold_inputs "$2" ;;
        -out | -append)
            mapfile -t COMPREPLY < <(compgen -f -- "$2")
            compopt -o filenames 2>/dev/null
            ;;
        -sort) mapfile -t COMPREPLY < <(compgen -W 'A A- C C- L L-' -- "$2") ;;
        -trace) mapfile -t COMPREPLY < <(compgen -W '1 2 4 8 15' -- "$2") ;;
        *) mapfile -t COMPREPLY < <(compgen -W "$options" -- "$2") ;;
    esac
}

complete -F _edgefold edgefold
