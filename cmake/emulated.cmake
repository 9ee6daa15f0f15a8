# Tests of programs for another processor, which an emulator runs. Without the system's help for foreign programs
# (binfmt) only programs that CTest itself starts would be run: what a test starts goes through a script of the
# program's name, which calls the emulator.
set(is_emulated OFF)
if(CMAKE_CROSSCOMPILING AND NOT WIN32)
  set(is_emulated ON)
endif()

# path_to_run(VARIABLE PROGRAM): what a test calls to run the program
function(path_to_run variable program)
  if(NOT is_emulated)
    set(${variable} $<TARGET_FILE:${program}> PARENT_SCOPE)
    return()
  endif()
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
  set(script ${PROJECT_BINARY_DIR}/emulated/${program})
  file(GENERATE OUTPUT ${script} CONTENT "#!/bin/sh\nexec ${emulator} -0 \"$0\" $<TARGET_FILE:${program}> \"$@\"\n"
       FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  set(${variable} ${script} PARENT_SCOPE)
endfunction()
