# What makes a weakness harder to use, in each program that is shipped: an address of its own for each
# run, tables of the linker that are read-only, guarded stacks, checked calls of the C library, and jumps
# that lead to marked places alone. Indexes of containers are checked outside of the loops over rows,
# where it would cost a hundredth. tests/packages/hardening_test.py reads the programs.
set(outside_of_row_loops $<BOOL:$<FILTER:$<TARGET_PROPERTY:NAME>,EXCLUDE,^hotpath>>)
add_compile_options(-fstack-protector-strong $<${outside_of_row_loops}:-D_GLIBCXX_ASSERTIONS>)
if(WIN32)
  add_link_options(-fstack-protector-strong -Wl,--dynamicbase,--high-entropy-va,--nxcompat)
  return()
endif()
add_compile_options(-fPIE -fstack-clash-protection -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
add_link_options(-pie -Wl,-z,relro,-z,now,-z,noexecstack)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
  add_compile_options(-fcf-protection=full)
elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  add_compile_options(-mbranch-protection=standard)
endif()
