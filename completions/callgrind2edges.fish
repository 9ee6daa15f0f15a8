# fish completion for callgrind2edges(1)

complete -c callgrind2edges -s h -l help -d 'Print the options'
complete -c callgrind2edges -l version -d 'Print the version'
complete -c callgrind2edges -l library -r -F -d 'A library that the program ran with'
complete -c callgrind2edges -l debug-file -r -F -d 'Where debug information is'
complete -c callgrind2edges -l root -x -a '(__fish_complete_directories)' -d 'Write source paths relative to it'
complete -c callgrind2edges -l scale -x -d 'Divide counts'
complete -c callgrind2edges -l cut-like -r -F -d 'Cut blocks as for this recording'
complete -c callgrind2edges -l unfinished -d 'Take the recording of a program that a signal ended'
