# The library that reads programs (ELF files), and what is built on it. Its libraries are Debian's libdw-dev, libelf-dev and
# libcapstone-dev; if they are missing, all of this is left out, and the configuration says so.
if(EDGEFOLD_STATIC)
  set(CMAKE_FIND_LIBRARY_SUFFIXES .a)
  set(libdw_needs bz2 lzma z) # what it unpacks debug information with
endif()
if(NOT WIN32)
  find_path(LIBDW_INCLUDE_DIR elfutils/libdw.h)
  find_library(LIBDW_LIBRARY dw)
  find_library(LIBELF_LIBRARY elf)
  find_path(CAPSTONE_INCLUDE_DIR capstone/capstone.h)
  find_library(CAPSTONE_LIBRARY capstone)
endif()

if(LIBDW_INCLUDE_DIR AND LIBDW_LIBRARY AND LIBELF_LIBRARY AND CAPSTONE_INCLUDE_DIR AND CAPSTONE_LIBRARY)
  file(GLOB program_sources CONFIGURE_DEPENDS src/program/*.cpp)
  add_library(edgefold_program STATIC ${program_sources})
  target_include_directories(edgefold_program PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>)
  target_include_directories(edgefold_program SYSTEM PRIVATE ${LIBDW_INCLUDE_DIR} ${CAPSTONE_INCLUDE_DIR})
  target_link_libraries(edgefold_program PRIVATE ${LIBDW_LIBRARY} ${LIBELF_LIBRARY} ${CAPSTONE_LIBRARY}
                                                 ${libdw_needs})
else()
  message(STATUS "Left out: what reads programs (it needs libdw-dev, libelf-dev and libcapstone-dev)")
endif()
