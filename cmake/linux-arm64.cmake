# Builds for 64-bit ARM under Linux.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(EDGEFOLD_TRIPLET aarch64-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/linux_cross.cmake)
