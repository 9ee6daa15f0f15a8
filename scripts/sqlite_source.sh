#!/usr/bin/env bash
# sqlite_source.sh DIRECTORY
#
# Puts SQLite as one C file, made from Debian's source package, and its header into DIRECTORY, with
# the package's version in `package-version` (a file `version` would hide a header of C++). The
# sources come from the mirrors that the machine has its packages from, by a list of the script's own:
# the machine's lists stay as they are. What is there already isn't fetched again.
set -euo pipefail
if [ $# -ne 1 ]; then
    sed -n '2,7s/^# \{0,1\}//p' "$0" >&2
    exit 2
fi
mkdir -p "$1"
cd "$1"
home=$PWD

# The machine's lists of packages, as lists of sources.
source_list() {
    if [ -e /etc/apt/sources.list.d/debian.sources ]; then
        sed 's/^Types:.*/Types: deb-src/' /etc/apt/sources.list.d/debian.sources >apt/list.sources
        echo "$home/apt/list.sources"
    else
        sed -n 's/^deb /deb-src /p' /etc/apt/sources.list >apt/sources.list
        echo "$home/apt/sources.list"
    fi
}

own_apt() {
    apt-get -qq -o Dir::Etc::sourcelist="$(source_list)" -o Dir::Etc::sourceparts=- \
        -o Dir::State::lists="$home/apt/lists" -o Dir::Cache="$home/apt/cache" \
        -o APT::Sandbox::User="$(id -un)" "$@"
}

fetch() {
    rm -rf package
    mkdir -p apt/lists/partial apt/cache/archives/partial package
    own_apt update
    (cd package && own_apt source sqlite3)
    mv package/sqlite3-*/ package/sqlite3
}

# One C file of it all, as SQLite is meant to be compiled.
join() {
    mkdir -p joined
    (cd joined &&
        make -s -f ../package/sqlite3/main.mk TOP=../package/sqlite3 BCC=gcc TCC=gcc NAWK=awk \
            sqlite3.c >make.log 2>&1)
    cp joined/sqlite3.h .
    sed -n 's/^Version: //p' package/*.dsc >package-version
    cp joined/sqlite3.c . # the last step: it tells that all are there
}

if [ ! -e sqlite3.c ]; then
    fetch
    join
    rm -rf apt package joined
fi
