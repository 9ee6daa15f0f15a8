#!/usr/bin/env bash
# header_libraries.sh DIRECTORY
#
# Puts links to the headers of Debian's CLI11, fmt and nlohmann's JSON into DIRECTORY, so that a compiler can
# be pointed at these and finds no other headers of the system there.
set -euo pipefail
if [ $# -ne 1 ]; then
    sed -n '2,5s/^# \{0,1\}//p' "$0" >&2
    exit 2
fi
mkdir -p "$1"
for library in CLI fmt nlohmann; do
    [ -d "/usr/include/$library" ] || {
        echo "header_libraries.sh: /usr/include/$library is missing" >&2
        exit 1
    }
    ln -sfn "/usr/include/$library" "$1/$library"
done
