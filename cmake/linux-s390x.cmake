# Builds for IBM's z/Architecture under Linux, whose numbers begin with their highest byte.
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(EDGEFOLD_TRIPLET s390x-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/linux_cross.cmake)
