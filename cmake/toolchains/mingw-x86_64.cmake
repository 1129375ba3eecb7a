# Windows x86-64 cross-build with mingw-w64; CTest runs the binaries under Wine.
set(TOLVIK_MINGW_ARCH x86_64)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)

# One Wine prefix per build directory, created on first use.
set(CMAKE_CROSSCOMPILING_EMULATOR
    ${_tolvik_repo}/scripts/wine-run.sh --prefix ${CMAKE_BINARY_DIR}/wine)
