# fish completion for check_edges(1)

complete -c check_edges -s h -l help -d 'Print the options'
complete -c check_edges -l version -d 'Print the version'
complete -c check_edges -l max-lost -x -d 'Percent for status 1'
