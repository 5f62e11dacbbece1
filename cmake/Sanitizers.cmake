# What the sanitizers are told, built into every program of a sanitized build: whoever starts one
# need not know. And how much longer than usual tests wait there.
set(TESSALINE_PATIENCE 1)
if(TESSALINE_SANITIZE)
  set(TESSALINE_PATIENCE 5)
  add_library(tessaline_sanitizer_defaults OBJECT ${PROJECT_SOURCE_DIR}/cmake/SanitizerDefaults.cpp)
  target_link_libraries(tessaline_options
                        INTERFACE $<TARGET_OBJECTS:tessaline_sanitizer_defaults>)
endif()
