# tessaline_test(NAME ... SOURCES ... USES <rooms> LIBRARIES <targets> LABELS unit|desktop|e2e)
#
# unit tests need nothing but the machine; desktop tests start a private X server.
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
  gtest_discover_tests(${target} PROPERTIES LABELS "${TEST_LABELS}" TIMEOUT 120
                       DISCOVERY_TIMEOUT 30)
endfunction()
