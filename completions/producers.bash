# bash completion for callgrind2edges(1), perf2edges(1) and check_edges(1)

# Bash passes the command, the word to complete and the word in front of it.
_edge_files() {
    local common='--help --version'
    local converter="--cut-like --library --debug-file --root --scale $common"
    COMPREPLY=()
    case $3 in
        --scale | --max-lost) return ;;
        --root)
            mapfile -t COMPREPLY < <(compgen -d -- "$2")
            compopt -o filenames 2>/dev/null
            return
            ;;
    esac
    if [[ $2 != -* ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$2")
        compopt -o filenames 2>/dev/null
        return
    fi
    case ${1##*/} in
        callgrind2edges) mapfile -t COMPREPLY < <(compgen -W "--unfinished $converter" -- "$2") ;;
        perf2edges) mapfile -t COMPREPLY < <(compgen -W "$converter" -- "$2") ;;
        check_edges) mapfile -t COMPREPLY < <(compgen -W "--max-lost $common" -- "$2") ;;
    esac
}

complete -F _edge_files callgrind2edges perf2edges check_edges
