# fish completion for perf2edges(1)

complete -c perf2edges -s h -l help -d 'Print the options'
complete -c perf2edges -l version -d 'Print the version'
complete -c perf2edges -l library -r -F -d 'A library that the program ran with'
complete -c perf2edges -l debug-file -r -F -d 'Where debug information is'
complete -c perf2edges -l root -x -a '(__fish_complete_directories)' -d 'Write source paths relative to it'
complete -c perf2edges -l scale -x -d 'Divide counts'
complete -c perf2edges -l cut-like -r -F -d 'Cut blocks as for this recording'
