#!/usr/bin/env bash
# googletest.sh DIRECTORY TOOLCHAIN
#
# Builds Debian's GoogleTest by a toolchain file of cmake/, for another system or C++ library, and
# installs it into DIRECTORY. What is there already isn't built again.
set -euo pipefail
if [ $# -ne 2 ]; then
    sed -n '2,5s/^# \{0,1\}//p' "$0" >&2
    exit 2
fi
mkdir -p "$1"
home=$(realpath "$1")
if [ ! -e "$home/lib/libgtest.a" ]; then
    cmake -S /usr/src/googletest -B "$home/googletest" -G Ninja \
        -DCMAKE_TOOLCHAIN_FILE="$(realpath "$2")" -DEDGEFOLD_CROSS_LIBRARIES="$home" \
        -DCMAKE_INSTALL_PREFIX="$home" -DCMAKE_INSTALL_LIBDIR=lib -DCMAKE_BUILD_TYPE=Release >/dev/null
    cmake --build "$home/googletest"
    cmake --install "$home/googletest" >/dev/null
fi
