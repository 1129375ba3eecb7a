# Shared part of the mingw-w64 toolchains; the arch files set TOLVIK_MINGW_ARCH
# (x86_64 or i686) and include this one.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR ${TOLVIK_MINGW_ARCH})
set(TOLVIK_MINGW_TRIPLE ${TOLVIK_MINGW_ARCH}-w64-mingw32)

# The -posix thread model: the -win32 one has no std::mutex or std::thread.
set(CMAKE_C_COMPILER ${TOLVIK_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TOLVIK_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${TOLVIK_MINGW_TRIPLE}-windres)

# -O2 for release builds: at -O3 GCC 12 reports false -Wrestrict errors
# inside libstdc++'s string concatenation (GCC bug 105329).
set(CMAKE_C_FLAGS_RELEASE "-O2 -DNDEBUG" CACHE STRING "Flags of the release build")
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG" CACHE STRING "Flags of the release build")

# Static run time: the binaries run under Wine and ship without the mingw DLLs.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")

get_filename_component(_tolvik_repo "${CMAKE_CURRENT_LIST_DIR}/../.." ABSOLUTE)

# Cross-built PCRE2, libxml2 and libarchive (scripts/build-win-deps.sh); one
# prefix per architecture, shared by every build directory of the repository.
if(NOT TOLVIK_WIN_DEPS_PREFIX)
  set(TOLVIK_WIN_DEPS_PREFIX "${_tolvik_repo}/build/win-deps/${TOLVIK_MINGW_ARCH}/prefix")
endif()

set(CMAKE_FIND_ROOT_PATH /usr/${TOLVIK_MINGW_TRIPLE} ${TOLVIK_WIN_DEPS_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
