#!/usr/bin/env bash
# windows_libraries.sh DIRECTORY
#
# Builds the libraries that edgefold and its tests need on Windows, SQLite and GoogleTest, from
# Debian's sources with the MinGW-w64 compiler, and puts them into DIRECTORY. The sources come from
# the mirrors that the machine has its packages from, by a list of the script's own: the machine's
# lists stay as they are.
set -euo pipefail
if [ $# -ne 1 ]; then
    sed -n '2,7s/^# \{0,1\}//p' "$0" >&2
    exit 2
fi
mkdir -p "$1"
cd "$1"
home=$PWD
toolchain=$(realpath "$OLDPWD/$(dirname "$0")")/mingw-w64.cmake
compiler=x86_64-w64-mingw32

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

fetch_sqlite() {
    rm -rf source
    mkdir -p apt/lists/partial apt/cache/archives/partial source
    own_apt update
    (cd source && own_apt source sqlite3)
    mv source/sqlite3-*/ source/sqlite3
    rm -rf apt
}

# One C file of it all, as SQLite is meant to be compiled. As in Debian's own library, deleted rows
# are overwritten by zeros, so that both leave the same bytes in a file, and a name may be a URI. A
# path may be as long as the system takes it.
build_sqlite() {
    mkdir -p amalgamation include lib
    (cd amalgamation &&
        make -s -f ../source/sqlite3/main.mk TOP=../source/sqlite3 BCC=gcc TCC=gcc NAWK=awk \
            sqlite3.c >make.log 2>&1)
    # shellcheck disable=SC2086 # the launcher may be several words
    ${CMAKE_CXX_COMPILER_LAUNCHER:-} $compiler-gcc-posix -O2 -DSQLITE_OMIT_LOAD_EXTENSION \
        -DSQLITE_SECURE_DELETE -DSQLITE_USE_URI -DSQLITE_WIN32_MAX_PATH_CHARS=32767 \
        -c amalgamation/sqlite3.c -o amalgamation/sqlite3.o
    rm -f lib/libsqlite3.a
    $compiler-ar rcs lib/libsqlite3.a amalgamation/sqlite3.o
    cp amalgamation/sqlite3.h include/
}

build_googletest() {
    cmake -S /usr/src/googletest -B googletest -G Ninja -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
        -DEDGEFOLD_WINDOWS_LIBRARIES="$home" -DCMAKE_INSTALL_PREFIX="$home" \
        -DCMAKE_BUILD_TYPE=Release >/dev/null
    cmake --build googletest
    cmake --install googletest >/dev/null
}

if [ ! -e lib/libsqlite3.a ]; then
    fetch_sqlite
    build_sqlite
    rm -rf source amalgamation
fi
if [ ! -e lib/libgtest.a ]; then build_googletest; fi
