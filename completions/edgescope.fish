# fish completion for edgescope(1)

function __edgescope_command
    __fish_seen_subcommand_from $argv
end

set -l commands top check compare export view
complete -c edgescope -n "not __fish_seen_subcommand_from $commands" -f -a '
    top\t"List the hottest functions, edges or calls"
    check\t"Tell whether databases are fit for use"
    compare\t"Tell how much two databases agree"
    export\t"Write another program\'s format"
    view\t"Write a page for a browser"'
complete -c edgescope -n "not __fish_seen_subcommand_from $commands" -l version -d 'Print the version'
complete -c edgescope -s h -l help -d 'Print the options'
complete -c edgescope -n "__edgescope_command $commands" -s o -l output -r -F -d 'Write to a file'
complete -c edgescope -n "__edgescope_command $commands" -l trust -d 'Leave out the checks of files'
complete -c edgescope -n "__edgescope_command $commands" -l time-limit -x -d 'Seconds for one file'
complete -c edgescope -n '__edgescope_command top' -l by -x -a 'functions edges calls' -d 'What is listed'
complete -c edgescope -n '__edgescope_command top check compare' -s n -l lines -x -d 'Lines of a list'
complete -c edgescope -n '__edgescope_command top check compare' -l json -d 'Write JSON'
complete -c edgescope -n '__edgescope_command top export' -l function -x -d 'Only of this function'
complete -c edgescope -n '__edgescope_command top compare export' -l demangle -d 'Names as in the source'
complete -c edgescope -n '__edgescope_command check' -l max-imbalance -x -d 'Percent of the flow'
complete -c edgescope -n '__edgescope_command check' -l max-unknown-lines -x -d 'Percent without a line'
complete -c edgescope -n '__edgescope_command check' -l max-two-positions -x -d 'Percent of addresses'
complete -c edgescope -n '__edgescope_command check' -l max-without-file -x -d 'Percent without a file'
complete -c edgescope -n '__edgescope_command compare' -l min-overlap -x -d 'Percent for status 0'
complete -c edgescope -n '__edgescope_command export' -l to -x -a 'llvm callgrind lcov csv dot' -d 'Format'
complete -c edgescope -n '__edgescope_command export' -l min-share -x -d 'Percent for dot'
complete -c edgescope -n '__edgescope_command export view' -l program -r -F -d 'The program that ran'
complete -c edgescope -n '__edgescope_command export' -l sources -x -a '(__fish_complete_directories)' -d 'Where source files are'
complete -c edgescope -n '__edgescope_command view' -l source -x -a '(__fish_complete_directories)' -d 'Where source files are'
complete -c edgescope -n '__edgescope_command view' -l compare -r -F -d 'An older database'
