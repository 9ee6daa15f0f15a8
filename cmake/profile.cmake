# Optimisation by a profile of training runs (scripts/train.py), in two builds: one that counts, whose
# program writes the counts at its end, and one that uses them, with optimisation over all files.
# Counts are found by the names of object files below the build folder, which are the same in both.
add_compile_options(-fprofile-update=single -fprofile-prefix-path=${PROJECT_BINARY_DIR})
if(EDGEFOLD_PROFILE STREQUAL "generate")
  add_compile_options(-fprofile-generate=${EDGEFOLD_PROFILE_DIR})
  add_link_options(-fprofile-generate=${EDGEFOLD_PROFILE_DIR} -Wl,--wrap=_Exit)
else()
  # What no training run came by is compiled as ever, and not for size.
  add_compile_options(-fprofile-use=${EDGEFOLD_PROFILE_DIR} -fprofile-partial-training
                      -Wno-missing-profile -flto=auto -ffat-lto-objects)
  add_link_options(-flto=auto)
endif()
