# The packages that CPack makes: on Debian one for each program, for the producers and for the library, on Windows itself an
# archive. The version is the project's. `./dev package` makes the archives that are released.
set(CPACK_PACKAGE_VENDOR Velmora)
set(CPACK_PACKAGE_CONTACT "edgefold maintainers <maintainers@edgefold.example>")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_SOURCE_DIR}/build/packages)
string(TOLOWER ${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR} system)
set(CPACK_PACKAGE_FILE_NAME edgefold-${PROJECT_VERSION}-${system})
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)

if(WIN32)
  set(CPACK_GENERATOR ZIP)
else()
  set(CPACK_GENERATOR DEB)
endif()

# Debian
set(CPACK_COMPONENTS_ALL tool library)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
if(CMAKE_CROSSCOMPILING) # the programs are static
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
  string(REPLACE aarch64 arm64 CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${CMAKE_SYSTEM_PROCESSOR})
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME edgefold)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION devel)
if(TARGET edgescope)
  list(APPEND CPACK_COMPONENTS_ALL scope)
endif()
set(CPACK_DEBIAN_SCOPE_PACKAGE_NAME edgescope)
set(CPACK_DEBIAN_SCOPE_PACKAGE_SECTION devel)
set(CPACK_COMPONENT_SCOPE_DESCRIPTION "Shows, checks, compares and exports sample databases
Lists the hottest functions, edges and calls of the databases that edgefold
writes, tells whether they are fit for use and what changed, shows them in a
page for a browser, and exports them for clang, callgrind, lcov and Graphviz.")
if(TARGET check_edges)
  list(APPEND CPACK_COMPONENTS_ALL producers)
endif()
set(CPACK_DEBIAN_PRODUCERS_PACKAGE_NAME edgefold-producers)
set(CPACK_DEBIAN_PRODUCERS_PACKAGE_SECTION devel)
# What the scripts call; the libraries of the programs are found.
set(CPACK_DEBIAN_PRODUCERS_PACKAGE_DEPENDS "edgefold (= ${PROJECT_VERSION}), python3")
set(CPACK_DEBIAN_PRODUCERS_PACKAGE_RECOMMENDS "valgrind, parallel")
set(CPACK_DEBIAN_PRODUCERS_PACKAGE_SUGGESTS "linux-perf, make, slurm-client, python3-distributed")
set(CPACK_COMPONENT_PRODUCERS_DESCRIPTION "Makes edge files for edgefold, and merges those of many machines
Makes edge files of what valgrind or perf has recorded, checks edge files, and
has scripts that merge those of a fleet as a tree, each step proved.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libhotpath-dev)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libsqlite3-dev (>= 3.26)")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_COMPONENT_TOOL_DESCRIPTION "${PROJECT_DESCRIPTION}
Sums the edge files of hardware sampling runs per function into a sample
database, the input of feedback-directed optimisation, and prints reports.")
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "Library that reads sample databases
Static library and headers for programs that read the counts of functions,
edges and calls that edgefold has merged.")

# What Debian wants in other places, or at all; a plain installation goes without it.
if(NOT WIN32 AND Python3_FOUND)
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/debian)
  set(debian_changelog ${PROJECT_BINARY_DIR}/debian/changelog.gz)
  add_custom_command(
    OUTPUT ${debian_changelog}
    COMMAND Python3::Interpreter ${PROJECT_SOURCE_DIR}/scripts/make_debian_changelog.py
            --maintainer ${CPACK_PACKAGE_CONTACT} --output ${debian_changelog}
            ${PROJECT_SOURCE_DIR}/CHANGELOG.md
    DEPENDS CHANGELOG.md scripts/make_debian_changelog.py
    VERBATIM)
  add_custom_target(debian_changelog DEPENDS ${debian_changelog})
  install(FILES ${debian_changelog} DESTINATION share/doc/edgefold COMPONENT tool
          EXCLUDE_FROM_ALL)
  install(FILES completions/_edgefold DESTINATION share/zsh/vendor-completions COMPONENT tool
          EXCLUDE_FROM_ALL)
  if(TARGET edgescope)
    install(FILES ${debian_changelog} cmake/debian/copyright DESTINATION share/doc/edgescope
            COMPONENT scope EXCLUDE_FROM_ALL)
    if(with_page)
      install(FILES ${page_licences} DESTINATION share/doc/edgescope COMPONENT scope
              EXCLUDE_FROM_ALL)
    endif()
    install(FILES completions/_edgescope DESTINATION share/zsh/vendor-completions COMPONENT scope
            EXCLUDE_FROM_ALL)
  endif()
  if(TARGET check_edges)
    install(FILES ${debian_changelog} cmake/debian/copyright DESTINATION share/doc/edgefold-producers
            COMPONENT producers EXCLUDE_FROM_ALL)
    install(FILES completions/_edge_files DESTINATION share/zsh/vendor-completions
            COMPONENT producers EXCLUDE_FROM_ALL)
  endif()
  install(FILES ${debian_changelog} cmake/debian/copyright
          DESTINATION share/doc/libhotpath-dev COMPONENT library EXCLUDE_FROM_ALL)
  install(DIRECTORY examples/hot_edges DESTINATION share/doc/libhotpath-dev/examples
          COMPONENT library EXCLUDE_FROM_ALL)
endif()

include(CPack)
