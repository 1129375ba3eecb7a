# Windows 32-bit cross-build with mingw-w64. Compile and link only: Debian's
# 32-bit Wine needs multiarch i386, which this build does not rely on.
set(TOLVIK_MINGW_ARCH i686)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
