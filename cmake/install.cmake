# What an installation holds: the tool, and the profile library for programs that read sample
# databases. What only one kind of package needs stands in package.cmake.
include(CMakePackageConfigHelpers)

# The tool
install(TARGETS edgefold RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
if(UNIX)
  include(cmake/man_pages.cmake)
  install(FILES completions/edgefold.bash RENAME edgefold COMPONENT tool
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  install(FILES completions/edgefold.fish COMPONENT tool
          DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
  install(FILES completions/_edgefold COMPONENT plain
          DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
endif()
install(FILES CHANGELOG.md README.md LICENSE SECURITY.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT plain)
install(FILES cmake/debian/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tool)

# The second program
if(TARGET edgescope)
  install(TARGETS edgescope RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT scope)
  if(UNIX)
    install(FILES completions/edgescope.bash RENAME edgescope COMPONENT scope
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
    install(FILES completions/edgescope.fish COMPONENT scope
            DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
    install(FILES completions/_edgescope COMPONENT plain
            DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
  endif()
  if(with_page)
    install(FILES ${page_licences} DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT plain)
  endif()
endif()

# The programs that make and check edge files, and the scripts for fleets
set(producers check_edges)
if(TARGET callgrind2edges)
  list(APPEND producers callgrind2edges perf2edges)
endif()
if(TARGET check_edges AND UNIX)
  install(TARGETS ${producers} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT producers)
  install(FILES completions/producers.bash RENAME check_edges COMPONENT producers
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  if(TARGET callgrind2edges) # bash looks for a file of the program's name
    foreach(program callgrind2edges perf2edges)
      install(FILES completions/producers.bash RENAME ${program} COMPONENT producers
              DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
    endforeach()
  endif()
  foreach(program ${producers})
    install(FILES completions/${program}.fish COMPONENT producers
            DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
  endforeach()
  install(FILES completions/_edge_files COMPONENT plain
          DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
  install(PROGRAMS examples/fleet/list-groups examples/fleet/merge-group examples/fleet/merge-tree
                   examples/fleet/merge-array.sbatch examples/fleet/merge_on_dask.py
          DESTINATION ${CMAKE_INSTALL_DATADIR}/edgefold-producers/fleet COMPONENT producers)
  install(FILES examples/fleet/Makefile examples/fleet/README.md
          DESTINATION ${CMAKE_INSTALL_DATADIR}/edgefold-producers/fleet COMPONENT producers)
  install(FILES docs/fleet.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/edgefold-producers COMPONENT producers)
endif()

# The library, behind the headers of its facade.
set(public_headers function_name.h row_reader.h sample_set.h)
list(TRANSFORM public_headers PREPEND ${PROJECT_SOURCE_DIR}/src/hotpath/facade/)
target_sources(hotpath PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR}/src
                              FILES ${public_headers})
target_compile_features(hotpath PUBLIC cxx_std_20)
set_target_properties(edgefold_diag PROPERTIES EXPORT_NAME diag)

set(hotpath_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/hotpath)
install(TARGETS hotpath edgefold_diag EXPORT hotpath
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/edgefold COMPONENT library)
install(EXPORT hotpath NAMESPACE hotpath:: FILE hotpathTargets.cmake
        DESTINATION ${hotpath_cmake_dir} COMPONENT library)
configure_package_config_file(cmake/hotpathConfig.cmake.in hotpathConfig.cmake
                              INSTALL_DESTINATION ${hotpath_cmake_dir})
write_basic_package_version_file(hotpathConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/hotpathConfig.cmake
              ${PROJECT_BINARY_DIR}/hotpathConfigVersion.cmake
        DESTINATION ${hotpath_cmake_dir} COMPONENT library)

# The pkg-config file finds its own prefix, so that an installation can be moved.
file(RELATIVE_PATH prefix_from_pkgconfig ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
     ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig ${prefix_from_pkgconfig})
configure_file(cmake/hotpath.pc.in hotpath.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/hotpath.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT library)
