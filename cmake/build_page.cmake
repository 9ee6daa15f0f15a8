# Bundles the page from the sources in SOURCE into FOLDER/page.html, and writes its bytes as C++ into OUTPUT.
# All work is done in PLACE, so that nothing is written beside the sources; its packages stay there
# until the lock file changes, and builds that share it wait for each other.
cmake_minimum_required(VERSION 3.25)

function(run what)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${PLACE} RESULT_VARIABLE status
                  OUTPUT_VARIABLE text ERROR_VARIABLE text)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${what} failed. Without a page (-D EDGEFOLD_PAGE=OFF) all else can be built.\n${text}")
  endif()
endfunction()

file(MAKE_DIRECTORY ${PLACE})
file(LOCK ${PLACE} DIRECTORY)

file(SHA256 ${SOURCE}/package-lock.json wanted)
set(installed "")
if(EXISTS ${PLACE}/installed)
  file(READ ${PLACE}/installed installed)
endif()
if(NOT installed STREQUAL wanted)
  file(REMOVE ${PLACE}/installed)
  file(COPY ${SOURCE}/package.json ${SOURCE}/package-lock.json DESTINATION ${PLACE})
  run("npm ci" ${NPM} ci --ignore-scripts --include=dev --no-audit --no-fund --loglevel=error)
  file(WRITE ${PLACE}/installed ${wanted})
endif()

# What was removed from the sources has to go here too.
file(GLOB old RELATIVE ${PLACE} ${PLACE}/*)
foreach(name IN LISTS old)
  if(NOT name MATCHES "^(node_modules|installed|cmake\\.lock)$")
    file(REMOVE_RECURSE ${PLACE}/${name})
  endif()
endforeach()
file(COPY ${SOURCE}/ DESTINATION ${PLACE} PATTERN node_modules EXCLUDE)
run("The bundling of the page" ${NODE} build.mjs ${FOLDER})

file(READ ${FOLDER}/page.html page HEX)
string(REGEX MATCHALL "3c212d2d646174612d2d3e0a" places "${page}") # "<!--data-->", a line's end
list(LENGTH places number)
if(NOT number EQUAL 1)
  message(FATAL_ERROR "The page has ${number} places for data, not one")
endif()
# The licences of what is in the page, for those who look for them beside the program
file(READ ${FOLDER}/page.html text)
if(NOT text MATCHES "<div id=\"licences\" hidden>([^<]*)</div>")
  message(FATAL_ERROR "The page has no licences")
endif()
set(text "${CMAKE_MATCH_1}")
string(REPLACE "&lt;" "<" text "${text}")
string(REPLACE "&gt;" ">" text "${text}")
string(REPLACE "&amp;" "&" text "${text}")
file(WRITE ${FOLDER}/licences.txt "${text}")

string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${page}")
file(WRITE ${OUTPUT} "#include \"edgescope/view_page.h\"

static constexpr unsigned char bytes[] = {${bytes}};

std::string_view edgescope::page_without_data() {
    return {reinterpret_cast<const char*>(bytes), sizeof bytes};
}
")
