# Writes the browser page as one HTML document into a C++ constant. Run with
#   cmake -DSOURCE=<folder of page.html> -DOUTPUT=<WebPageText.cpp> -P embed.cmake
#
# Each /*{{name}}*/ in page.html stands for the file of that name. Everything is done on hexadecimal
# text: CMake gives meaning to semicolons, brackets and backslashes, and never to digits.

file(READ "${SOURCE}/page.html" page HEX)

file(GLOB parts "${SOURCE}/*.css" "${SOURCE}/*.js")
foreach(part IN LISTS parts)
  get_filename_component(name "${part}" NAME)
  string(HEX "/*{{${name}}}*/" placeholder)
  string(FIND "${page}" "${placeholder}" position)
  if(position EQUAL -1)
    message(FATAL_ERROR "page.html does not mention ${name}")
  endif()
  file(READ "${part}" text HEX)
  string(REPLACE "${placeholder}" "${text}" page "${page}")
endforeach()

string(HEX "/*{{" open)
string(FIND "${page}" "${open}" position)
if(NOT position EQUAL -1)
  message(FATAL_ERROR "page.html mentions a file that does not exist in ${SOURCE}")
endif()

# One character literal for each byte: string literals have a length limit and an escape for
# everything; 16 bytes to a line.
string(REGEX REPLACE "(..)" "'\\\\x\\1'," characters "${page}")
string(REPEAT "'\\\\x..'," 16 line)
string(REGEX REPLACE "(${line})" "\\1\n" characters "${characters}")

file(CONFIGURE OUTPUT "${OUTPUT}" @ONLY CONTENT [[
// Made by embed.cmake.

#include "web/WebPageText.h"

namespace tessaline {
namespace {
constexpr char kPage[] = {
@characters@
};
}  // namespace

constinit const std::string_view kWebPageHtml(kPage, sizeof kPage);

}  // namespace tessaline
]])
