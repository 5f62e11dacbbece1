# tessaline_test(NAME ... SOURCES ... USES <rooms> LIBRARIES <targets> LABELS unit|desktop|e2e)
#
# unit tests need nothing but the machine; desktop tests start a private X server.
math(EXPR TESSALINE_TEST_SECONDS "120 * ${TESSALINE_PATIENCE}")

function(tessaline_test)
  cmake_parse_arguments(TEST "" "NAME" "SOURCES;USES;LIBRARIES;LABELS" ${ARGN})
  set(target test_${TEST_NAME})
  add_executable(${target} ${TEST_SOURCES})
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  foreach(room IN LISTS TEST_USES)
    target_link_libraries(${target} PRIVATE tessaline_${room})
  endforeach()
  target_link_libraries(${target} PRIVATE tessaline_options tessaline_warnings ${TEST_LIBRARIES}
                                          GTest::gmock GTest::gtest_main)
  if(NOT TEST_LABELS)
    set(TEST_LABELS unit)
  endif()
  include(GoogleTest)
  gtest_discover_tests(${target} PROPERTIES LABELS "${TEST_LABELS}"
                                             TIMEOUT ${TESSALINE_TEST_SECONDS}
                       DISCOVERY_TIMEOUT 60)
endfunction()

# tessaline_node_test(NAME ... FILE ... [SERIAL] ENVIRONMENT <name=value>)
#
# End-to-end tests of one file, for Node.js. SERIAL ones have fixed ports, or latency matters to
# them: nothing else runs meanwhile.
find_program(NODE node)

function(tessaline_node_test)
  cmake_parse_arguments(TEST "SERIAL" "NAME;FILE" "ENVIRONMENT" ${ARGN})
  if(NODE)
    add_test(NAME ${TEST_NAME} COMMAND ${NODE} --test ${CMAKE_CURRENT_SOURCE_DIR}/${TEST_FILE})
  else()
    add_test(NAME ${TEST_NAME} COMMAND ${CMAKE_COMMAND} -E echo "SKIPPED: no node")
  endif()
  math(EXPR seconds "300 * ${TESSALINE_PATIENCE}")
  set_tests_properties(
    ${TEST_NAME} PROPERTIES LABELS e2e TIMEOUT ${seconds} SKIP_REGULAR_EXPRESSION "SKIPPED: "
    ENVIRONMENT "${TEST_ENVIRONMENT};TESSALINE_PATIENCE=${TESSALINE_PATIENCE}")
  if(TEST_SERIAL)
    set_tests_properties(${TEST_NAME} PROPERTIES RUN_SERIAL TRUE)
  endif()
endfunction()
