# The second program. It is left out where a library of its own is missing.
set(missing_packages "")
foreach(package CLI11 fmt nlohmann_json)
  if(NOT ${package}_FOUND)
    list(APPEND missing_packages ${package})
  endif()
endforeach()
if(missing_packages)
  list(JOIN missing_packages ", " missing_packages)
  message(STATUS "Left out: edgescope (it wants ${missing_packages})")
  return()
endif()

file(GLOB edgescope_sources CONFIGURE_DEPENDS src/edgescope/*.cpp)
list(FILTER edgescope_sources EXCLUDE REGEX ${files_of_other_systems})
list(FILTER edgescope_sources EXCLUDE REGEX "/main\\.cpp$")
# Exports that look into the program that ran need the library for it.
if(NOT TARGET edgefold_program)
  message(STATUS "Left out: edgescope export --program")
  list(FILTER edgescope_sources EXCLUDE REGEX
       "/(instruction_counts|inlined_samples|export_llvm_program)\\.cpp$")
endif()
add_library(edgescope_tool STATIC ${edgescope_sources})
target_link_libraries(edgescope_tool PUBLIC hotpath fmt::fmt nlohmann_json::nlohmann_json
                                     PRIVATE CLI11::CLI11)
target_compile_definitions(edgescope_tool PRIVATE EDGESCOPE_VERSION="${PROJECT_VERSION}")
if(TARGET edgefold_program)
  target_link_libraries(edgescope_tool PUBLIC edgefold_program)
  target_compile_definitions(edgescope_tool PRIVATE EDGESCOPE_READS_PROGRAMS)
endif()

add_executable(edgescope src/edgescope/main.cpp)
target_link_libraries(edgescope PRIVATE edgescope_tool)
need_no_library(edgescope)
