# Chooses the platform layer. Subsystem code never tests the platform itself;
# it links tolvik_platform and calls the interfaces in platform/*.h.
if(WIN32)
  set(TOLVIK_PLATFORM win32)
else()
  set(TOLVIK_PLATFORM posix)
endif()
message(STATUS "tolvik platform layer: ${TOLVIK_PLATFORM}")

if(WIN32)
  # Unicode Win32 entry points, no min/max macros, Windows 7 API level.
  add_compile_definitions(UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0601)
  if(MINGW)
    # Static run time so that the test binaries run under Wine without DLLs beside them.
    add_link_options(-static -static-libgcc -static-libstdc++)
  endif()
endif()

# tolvik_add_library(name SOURCES ... DEPS ...): one static library per subsystem.
function(tolvik_add_library name)
  cmake_parse_arguments(A "" "" "SOURCES;DEPS" ${ARGN})
  add_library(${name} STATIC ${A_SOURCES})
  target_link_libraries(${name} PUBLIC ${A_DEPS})
endfunction()
