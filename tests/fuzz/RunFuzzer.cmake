# Runs the libFuzzer target FUZZER for 30 s on a fresh copy of the seeds in SEEDS, under WORK,
# where it also leaves the input of any crash, leak or time-out; fails when it found one.
cmake_minimum_required(VERSION 3.20)
file(REMOVE_RECURSE ${WORK})
file(COPY ${SEEDS}/ DESTINATION ${WORK}/corpus)
# With -fno-sanitize-recover every report ends the run; the stack says where.
set(ENV{UBSAN_OPTIONS} "print_stacktrace=1")
# -close_fd_mask=2: the settings store reports each unreadable file on the standard error.
execute_process(
  COMMAND ${FUZZER} -max_total_time=30 -timeout=10 -rss_limit_mb=2048 -detect_leaks=1
    -close_fd_mask=2 -print_final_stats=1 -artifact_prefix=${WORK}/ ${WORK}/corpus
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${FUZZER} found a fault (exit ${result}); its input is in ${WORK}")
endif()
