# The revision of this project's checkout, never of a project that has it in a folder; of an archive that git made
# without a checkout, the one that git wrote into cmake/revision.txt; else zeros.
cmake_minimum_required(VERSION 3.18)
execute_process(COMMAND git rev-parse --show-prefix --short=8 HEAD WORKING_DIRECTORY ${SOURCE_DIR}
    OUTPUT_VARIABLE output OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
file(STRINGS ${SOURCE_DIR}/cmake/revision.txt archived REGEX "^[0-9a-f]+$")
# The prefix of a checkout's own folder is an empty line.
if(output MATCHES "^\n([0-9a-f]+)$")
    set(revision ${CMAKE_MATCH_1})
else()
    set(revision "${archived}")
endif()
string(SUBSTRING "${revision}00000000" 0 8 revision)
configure_file(${SOURCE_DIR}/cmake/VKTFrameworkRevision.cpp.in ${OUTPUT} @ONLY)
