# The libraries that are taken as headers: CLI11, fmt and nlohmann's JSON. The system's are found, fmt with its
# compiled part. Where EDGEFOLD_HEADER_LIBRARIES is a folder that holds these headers and nothing else
# (scripts/header_libraries.sh makes it), all three are headers alone: for programs that need no library beside
# them, for another C++ library than the system's, and for other processors.
if(NOT EDGEFOLD_HEADER_LIBRARIES)
  find_package(CLI11 2.1 QUIET)
  find_package(fmt 9 QUIET)
  find_package(nlohmann_json 3 QUIET)
  return()
endif()

foreach(library CLI11::CLI11 fmt::fmt nlohmann_json::nlohmann_json)
  add_library(${library} INTERFACE IMPORTED)
  target_include_directories(${library} INTERFACE ${EDGEFOLD_HEADER_LIBRARIES})
  string(REGEX REPLACE "::.*" "_FOUND" found ${library})
  set(${found} TRUE)
endforeach()
target_compile_definitions(fmt::fmt INTERFACE FMT_HEADER_ONLY)
