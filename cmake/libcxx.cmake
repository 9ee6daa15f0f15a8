# Builds by clang with LLVM's C++ library. Libraries of C++ are found in EDGEFOLD_CROSS_LIBRARIES first, where
# those lie that were built with it; libraries of C are the system's.
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_CXX_FLAGS_INIT -stdlib=libc++)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES EDGEFOLD_CROSS_LIBRARIES)
list(PREPEND CMAKE_PREFIX_PATH ${EDGEFOLD_CROSS_LIBRARIES})
