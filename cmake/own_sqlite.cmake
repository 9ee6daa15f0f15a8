# SQLite compiled into the programs, from one C file that scripts/sqlite_source.sh fetches; it takes
# the place of the system's library. For one thread and without statistics of memory it is quicker.
# As in Debian's library, deleted rows are overwritten by zeros, so that both leave the same bytes in
# a file, and what a database's own SQL may ask for is there; virtual tables and extensions aren't.
enable_language(C)
add_library(edgefold_sqlite STATIC ${EDGEFOLD_SQLITE_SOURCE}/sqlite3.c)
target_include_directories(edgefold_sqlite PUBLIC ${EDGEFOLD_SQLITE_SOURCE})
target_compile_options(edgefold_sqlite PRIVATE -w -fno-strict-aliasing)
target_compile_definitions(
  edgefold_sqlite
  PRIVATE SQLITE_THREADSAFE=0
          SQLITE_DEFAULT_MEMSTATUS=0
          SQLITE_OMIT_LOAD_EXTENSION
          SQLITE_SECURE_DELETE
          SQLITE_USE_URI
          SQLITE_ENABLE_MATH_FUNCTIONS
          SQLITE_SOUNDEX
          SQLITE_LIKE_DOESNT_MATCH_BLOBS
          SQLITE_ALLOW_ROWID_IN_VIEW
          SQLITE_MAX_SCHEMA_RETRY=25
          SQLITE_MAX_VARIABLE_NUMBER=250000
          SQLITE_MAX_DEFAULT_PAGE_SIZE=32768)
if(WIN32)
  # A path may be as long as the system takes it.
  target_compile_definitions(edgefold_sqlite PRIVATE SQLITE_WIN32_MAX_PATH_CHARS=32767)
else()
  target_compile_definitions(
    edgefold_sqlite PRIVATE HAVE_FDATASYNC=1 HAVE_GMTIME_R=1 HAVE_LOCALTIME_R=1 HAVE_PREAD=1
                            HAVE_PWRITE=1 HAVE_STRCHRNUL=1 HAVE_USLEEP=1)
endif()

# An imported target of this name, so that an installed library asks its users for their SQLite.
add_library(SQLite::SQLite3 INTERFACE IMPORTED)
target_link_libraries(SQLite::SQLite3 INTERFACE edgefold_sqlite)
