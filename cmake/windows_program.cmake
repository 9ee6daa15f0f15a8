# What the programs have on Windows alone: a resource with version and manifest, and for the tool an
# entry with wide arguments.
enable_language(RC)

function(add_windows_resource program description)
  configure_file(${PROJECT_SOURCE_DIR}/src/edgefold/edgefold.rc.in ${program}.rc @ONLY)
  target_sources(${program} PRIVATE ${PROJECT_BINARY_DIR}/${program}.rc)
  set_source_files_properties(${PROJECT_BINARY_DIR}/${program}.rc PROPERTIES OBJECT_DEPENDS
                              ${PROJECT_SOURCE_DIR}/src/edgefold/edgefold.manifest)
  if(MSVC)
    target_link_options(${program} PRIVATE /MANIFEST:NO) # the resource has it
  endif()
endfunction()

add_windows_resource(edgefold ${PROJECT_DESCRIPTION})
if(MINGW)
  target_link_options(edgefold PRIVATE -municode)
endif()
