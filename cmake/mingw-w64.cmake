# Builds for Windows on x86-64 with the MinGW-w64 compiler of a Linux system. Libraries are found in
# EDGEFOLD_CROSS_LIBRARIES alone; the programs built run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
# A program in one file: no library of the compiler's has to travel with it.
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)

list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES EDGEFOLD_CROSS_LIBRARIES)
set(CMAKE_FIND_ROOT_PATH ${EDGEFOLD_CROSS_LIBRARIES})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

find_program(EDGEFOLD_WINE NAMES wine64 wine PATHS /usr/lib/wine REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${EDGEFOLD_WINE})
