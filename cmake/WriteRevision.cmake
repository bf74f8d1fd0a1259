cmake_policy(VERSION 3.24)
execute_process(COMMAND git rev-parse --short=8 HEAD WORKING_DIRECTORY ${SOURCE_DIR}
    OUTPUT_VARIABLE revision OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
string(SUBSTRING "${revision}00000000" 0 8 revision)
file(CONFIGURE OUTPUT ${OUTPUT} @ONLY CONTENT
"#include \"VKTCoreKit/foundation/VKTFrameworkConstants.h\"

const char* const VKTFrameworkRevisionString = \"@revision@\";
")
