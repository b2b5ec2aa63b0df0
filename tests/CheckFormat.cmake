# Fails, naming each file, when a source file of the tree differs from what clang-format makes of
# it under the tree's .clang-format.
cmake_minimum_required(VERSION 3.20)
find_program(CLANG_FORMAT NAMES clang-format clang-format-14 REQUIRED)
file(GLOB_RECURSE sources RELATIVE ${SOURCE_DIR} ${SOURCE_DIR}/*.cpp ${SOURCE_DIR}/*.h)
list(FILTER sources EXCLUDE REGEX "^(build[^/]*|\\.[^/]*)/")
execute_process(COMMAND ${CLANG_FORMAT} --dry-run -Werror ${sources}
  WORKING_DIRECTORY ${SOURCE_DIR} RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE report)
list(LENGTH sources count)
if(NOT result EQUAL 0)
  string(REGEX MATCHALL "[^\n]+: error: code should be clang-formatted" lines "${report}")
  list(TRANSFORM lines REPLACE ":[0-9]+:[0-9]+: error: .*" "")
  list(REMOVE_DUPLICATES lines)
  list(JOIN lines "\n  " names)
  message(FATAL_ERROR "Not formatted (clang-format -i FILE):\n  ${names}")
endif()
message(STATUS "${count} files formatted")
