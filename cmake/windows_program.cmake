# What the program has on Windows alone: an entry with wide arguments, and a resource with its
# version and its manifest.
enable_language(RC)
configure_file(${PROJECT_SOURCE_DIR}/src/edgefold/edgefold.rc.in edgefold.rc @ONLY)
target_sources(edgefold PRIVATE ${PROJECT_BINARY_DIR}/edgefold.rc)
set_source_files_properties(${PROJECT_BINARY_DIR}/edgefold.rc
                            PROPERTIES OBJECT_DEPENDS ${PROJECT_SOURCE_DIR}/src/edgefold/edgefold.manifest)
if(MINGW)
  target_link_options(edgefold PRIVATE -municode)
elseif(MSVC)
  target_link_options(edgefold PRIVATE /MANIFEST:NO) # the resource has it
endif()
