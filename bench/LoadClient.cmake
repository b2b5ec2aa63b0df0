# The load client's library and its command-line front end. Included from bench/ and from
# the tests, whichever comes first, so the tests need no benchmark build.
if(NOT TARGET quaylon_loadclient)
  add_library(quaylon_loadclient STATIC
    ${CMAKE_CURRENT_LIST_DIR}/LoadClient.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ProcessWatch.cpp
    ${CMAKE_CURRENT_LIST_DIR}/Responder.cpp
    ${CMAKE_CURRENT_LIST_DIR}/TftpWire.cpp
  )
  target_include_directories(quaylon_loadclient PUBLIC ${PROJECT_SOURCE_DIR})
  target_compile_options(quaylon_loadclient PRIVATE ${QUAYLON_WARNINGS})
  target_link_libraries(quaylon_loadclient PUBLIC Threads::Threads)

  add_executable(tftp_load ${CMAKE_CURRENT_LIST_DIR}/tftp_load.cpp)
  target_compile_options(tftp_load PRIVATE ${QUAYLON_WARNINGS})
  target_link_libraries(tftp_load PRIVATE quaylon_loadclient)
  # One place for the program, whichever folder defined it.
  set_target_properties(tftp_load PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bench)
endif()
