# Third-party libraries, found once. Each room names the ones it uses.

find_package(Threads REQUIRED)
find_package(OpenSSL REQUIRED)
find_package(Boost 1.81 CONFIG REQUIRED COMPONENTS json)
find_package(PkgConfig REQUIRED)
find_package(Qt6 6.4 REQUIRED COMPONENTS Core Gui Widgets Svg)

pkg_check_modules(avahi REQUIRED IMPORTED_TARGET avahi-client)
pkg_check_modules(avcodec REQUIRED IMPORTED_TARGET libavcodec libavutil)
pkg_check_modules(curl REQUIRED IMPORTED_TARGET libcurl)
pkg_check_modules(pipewire REQUIRED IMPORTED_TARGET libpipewire-0.3)
pkg_check_modules(png REQUIRED IMPORTED_TARGET libpng)
pkg_check_modules(qrencode REQUIRED IMPORTED_TARGET libqrencode)
pkg_check_modules(sdbus REQUIRED IMPORTED_TARGET sdbus-c++)
pkg_check_modules(xkbcommon REQUIRED IMPORTED_TARGET xkbcommon)
# Debian 12 has none; the desktop portal's own calls serve there.
pkg_check_modules(eis IMPORTED_TARGET libei-1.0)
pkg_check_modules(x264 REQUIRED IMPORTED_TARGET x264)
pkg_check_modules(xcb REQUIRED IMPORTED_TARGET
                  xcb xcb-randr xcb-shm xcb-damage xcb-xfixes xcb-xinput)

# libyuv's Debian package has no pkg-config file.
find_library(YUV_LIBRARY yuv REQUIRED)
find_path(YUV_INCLUDE_DIR libyuv.h REQUIRED)
add_library(yuv INTERFACE IMPORTED)
target_link_libraries(yuv INTERFACE ${YUV_LIBRARY})
target_include_directories(yuv SYSTEM INTERFACE ${YUV_INCLUDE_DIR})

find_program(CCACHE ccache)
if(CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()
