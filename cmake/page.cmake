# The page of `edgescope view`: `web/` bundled into one file by node, and that file's bytes in a source
# file of C++. Sets with_page to whether it can be built.
option(EDGEFOLD_PAGE "Build the page of edgescope view, with node, npm and npm's registry" ON)
set(EDGEFOLD_PAGE_PLACE ${PROJECT_BINARY_DIR}/web CACHE PATH
    "Folder for the page's packages; several builds may share it")

find_program(NODE NAMES node nodejs)
find_program(NPM npm)
mark_as_advanced(NODE NPM)
set(ZLIB_USE_STATIC_LIBS ${EDGEFOLD_STATIC})
find_package(ZLIB QUIET)

set(missing_packages "")
foreach(package NODE NPM ZLIB_FOUND)
  if(NOT ${package})
    string(REGEX REPLACE "_FOUND" "" package ${package})
    string(TOLOWER ${package} package)
    list(APPEND missing_packages ${package})
  endif()
endforeach()
set(with_page OFF)
if(NOT EDGEFOLD_PAGE)
  message(STATUS "Left out: edgescope view (EDGEFOLD_PAGE is off)")
elseif(missing_packages)
  list(JOIN missing_packages ", " missing_packages)
  message(STATUS "Left out: edgescope view (it wants ${missing_packages})")
else()
  set(with_page ON)
endif()

if(with_page)
  file(GLOB_RECURSE page_sources CONFIGURE_DEPENDS web/*)
  list(FILTER page_sources EXCLUDE REGEX "/node_modules/")
  set(page_bytes ${PROJECT_BINARY_DIR}/page_bytes.cpp)
  set(page_licences ${PROJECT_BINARY_DIR}/page/licences.txt)
  add_custom_command(
    OUTPUT ${page_bytes} ${page_licences}
    COMMAND ${CMAKE_COMMAND} -D SOURCE=${PROJECT_SOURCE_DIR}/web -D PLACE=${EDGEFOLD_PAGE_PLACE}
            -D NODE=${NODE} -D NPM=${NPM} -D FOLDER=${PROJECT_BINARY_DIR}/page
            -D OUTPUT=${page_bytes} -P ${PROJECT_SOURCE_DIR}/cmake/build_page.cmake
    DEPENDS ${page_sources} cmake/build_page.cmake
    COMMENT "Building the page of edgescope view"
    VERBATIM)
endif()
