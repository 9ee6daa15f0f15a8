# fish completion for edgefold(1)

# The last path of the list is completed, those in front of it stay.
function __edgefold_inputs
    set -l list (commandline -ct | string trim --left --chars '"\'' | string replace -a '\;' ';')
    set -l before (string match -r '.*;' -- $list)
    set -l last (string replace -r '.*;' '' -- $list)
    for path in "$last"*
        test -d $path; and set path $path/
        echo "$before$path"
    end
end

complete -c edgefold -f
complete -c edgefold -o append -r -F -d 'Merge into a database'
complete -c edgefold -o dump -d 'Print what was read from the inputs'
complete -c edgefold -o file -x -a '(__edgefold_inputs)' -d 'Inputs, separated by ;'
complete -c edgefold -o help -d 'Print the options and stop'
complete -c edgefold -o nologo -d 'Leave out the banner'
complete -c edgefold -o out -r -F -d 'Create a new database'
complete -c edgefold -o quiet -d 'Leave out the number of merged files'
complete -c edgefold -o sort -x -d 'Order of the edges in the report' -a '
    A\t"by address" A-\t"by address, descending"
    C\t"by count" C-\t"by count, descending"
    L\t"by line" L-\t"by line, descending"'
complete -c edgefold -o trace -x -d 'Show what goes on with databases' -a '
    1\tfailures 2\t"SQLite commands" 4\t"functions read" 8\t"functions written" 15\tall'
