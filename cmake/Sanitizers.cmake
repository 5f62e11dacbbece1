# How much longer than usual tests wait for programs that a sanitizer slows down.
set(TESSALINE_PATIENCE 1)
if(TESSALINE_SANITIZE)
  set(TESSALINE_PATIENCE 5)
endif()
