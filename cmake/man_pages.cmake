# The manual pages, made of the documents. Without lowdown and Python the rest builds all the same.
find_program(LOWDOWN lowdown)
find_package(Python3 COMPONENTS Interpreter)
mark_as_advanced(LOWDOWN)
if(NOT LOWDOWN OR NOT Python3_FOUND)
  message(STATUS "No manual pages: they need lowdown and Python 3")
  return()
endif()

# A page bears the date of its release.
file(STRINGS CHANGELOG.md release REGEX "^## ${PROJECT_VERSION} - ")
if(NOT release)
  message(FATAL_ERROR "CHANGELOG.md says nothing about version ${PROJECT_VERSION}")
endif()
string(REGEX REPLACE ".* - " "" release_date ${release})

# add_man_page(DOCUMENT PAGE COMPONENT)
function(add_man_page document page component)
  set(output ${PROJECT_BINARY_DIR}/man/${page}.gz)
  set(maker ${PROJECT_SOURCE_DIR}/scripts/make_man_page.py)
  add_custom_command(
    OUTPUT ${output}
    COMMAND Python3::Interpreter ${maker} --version ${PROJECT_VERSION} --date ${release_date}
            --output ${output} ${PROJECT_SOURCE_DIR}/${document}
    DEPENDS ${document} ${maker}
    VERBATIM)
  set_property(GLOBAL APPEND PROPERTY edgefold_man_pages ${output})
  string(REGEX MATCH "[0-9]$" section ${page})
  install(FILES ${output} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
endfunction()

file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/man)
add_man_page(docs/manual.md edgefold.1 tool)
add_man_page(docs/edge-file.md edgefold-edges.5 tool)
add_man_page(docs/sample-database.md edgefold-db.5 tool)
if(TARGET edgescope)
  add_man_page(docs/edgescope.md edgescope.1 scope)
endif()
if(TARGET check_edges)
  add_man_page(docs/check_edges.md check_edges.1 producers)
  add_man_page(docs/fleet-scripts.md edgefold-fleet.7 producers)
endif()
if(TARGET callgrind2edges)
  add_man_page(docs/callgrind2edges.md callgrind2edges.1 producers)
  add_man_page(docs/perf2edges.md perf2edges.1 producers)
endif()
get_property(pages GLOBAL PROPERTY edgefold_man_pages)
add_custom_target(man_pages ALL DEPENDS ${pages})
