# The programs that make edge files, on the library that reads programs. They want Debian's
# libcli11-dev and libfmt-dev besides; without, they are left out.
find_package(CLI11 QUIET)
find_package(fmt QUIET)

if(TARGET edgefold_program AND CLI11_FOUND AND fmt_FOUND)
  file(GLOB edgefile_sources CONFIGURE_DEPENDS producers/edgefile/*.cpp)
  add_library(edgefile STATIC ${edgefile_sources})
  target_include_directories(edgefile PUBLIC producers)
  target_compile_definitions(edgefile PRIVATE EDGEFOLD_VERSION="${PROJECT_VERSION}")
  target_link_libraries(edgefile PUBLIC edgefold_program CLI11::CLI11 fmt::fmt)

  file(GLOB callgrind_sources CONFIGURE_DEPENDS producers/callgrind/*.cpp)
  list(FILTER callgrind_sources EXCLUDE REGEX "/main\\.cpp$")
  add_library(edgefile_callgrind STATIC ${callgrind_sources})
  target_link_libraries(edgefile_callgrind PUBLIC edgefile)
  add_executable(callgrind2edges producers/callgrind/main.cpp)
  target_link_libraries(callgrind2edges PRIVATE edgefile_callgrind)

  file(GLOB perf_sources CONFIGURE_DEPENDS producers/perf/*.cpp)
  list(FILTER perf_sources EXCLUDE REGEX "/main\\.cpp$")
  add_library(edgefile_perf STATIC ${perf_sources})
  target_link_libraries(edgefile_perf PUBLIC edgefile)
  add_executable(perf2edges producers/perf/main.cpp)
  target_link_libraries(perf2edges PRIVATE edgefile_perf)
else()
  message(STATUS "Left out: callgrind2edges and perf2edges (they want libcli11-dev and libfmt-dev too)")
endif()
