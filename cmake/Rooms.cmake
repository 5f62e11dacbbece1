# One room, one library. tessaline_room(NAME ... SOURCES ... MAY_USE ... LIBRARIES ...)
#
# MAY_USE names the rooms below this one (scripts/check proves that includes obey it);
# LIBRARIES names third-party targets, which stay private to the room.

add_library(tessaline_warnings INTERFACE)
target_compile_options(tessaline_warnings INTERFACE
  -Wall -Wextra -Wconversion -Wshadow -Werror
  # GCC 12 reports false positives of these two inside libstdc++ when it optimises.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized;-Wno-restrict>
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)

add_library(tessaline_options INTERFACE)
# Assertions catch a programmer's mistakes in every build.
target_compile_options(tessaline_options INTERFACE -U_FORTIFY_SOURCE)
target_compile_definitions(tessaline_options INTERFACE BOOST_ASIO_NO_DEPRECATED)
if(TESSALINE_SANITIZE)
  target_compile_options(tessaline_options INTERFACE
    -fsanitize=${TESSALINE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  if(TESSALINE_SANITIZE STREQUAL "thread" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Asio uses fences, which GCC's thread sanitizer does not model and warns about.
    target_compile_options(tessaline_options INTERFACE -Wno-tsan)
  endif()
  target_link_options(tessaline_options INTERFACE -fsanitize=${TESSALINE_SANITIZE})
endif()
if(TESSALINE_FUZZ)
  target_compile_options(tessaline_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

function(tessaline_room)
  cmake_parse_arguments(ROOM "" "NAME" "SOURCES;MAY_USE;LIBRARIES" ${ARGN})
  set(target tessaline_${ROOM_NAME})
  add_library(${target} STATIC ${ROOM_SOURCES})
  target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${target} PUBLIC tessaline_options PRIVATE tessaline_warnings
                                         ${ROOM_LIBRARIES})
  foreach(room IN LISTS ROOM_MAY_USE)
    target_link_libraries(${target} PUBLIC tessaline_${room})
  endforeach()
endfunction()
