# bash completion for edgescope(1)

# Bash passes the command, the word to complete and the word in front of it.
_edgescope() {
    local all='--output --trust --time-limit --help' command=${COMP_WORDS[1]} words=
    COMPREPLY=()
    case $3 in
        --by) words='functions edges calls' ;;
        --to) words='llvm callgrind lcov csv dot' ;;
        --program | --compare) # a file, as any other word is
            mapfile -t COMPREPLY < <(compgen -f -- "$2")
            compopt -o filenames 2>/dev/null
            return
            ;;
        --sources | --source)
            mapfile -t COMPREPLY < <(compgen -d -- "$2")
            compopt -o filenames 2>/dev/null
            return
            ;;
        *)
            case $command in
                top) words="--by --lines --function --demangle --json $all" ;;
                check)
                    words="--max-imbalance --max-unknown-lines --max-two-positions"
                    words+=" --max-without-file --lines --json $all"
                    ;;
                compare) words="--min-overlap --lines --demangle --json $all" ;;
                export) words="--to --function --program --min-share --sources --demangle $all" ;;
                view) words="--source --compare --program $all" ;;
            esac
            if [[ $COMP_CWORD -le 1 ]]; then
                words='top check compare export view --help --version'
            elif [[ $2 != -* ]]; then
                mapfile -t COMPREPLY < <(compgen -f -- "$2")
                compopt -o filenames 2>/dev/null
                return
            fi
            ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$2")
}

complete -F _edgescope edgescope
