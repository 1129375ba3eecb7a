# Third-party libraries, as imported targets the subsystems link:
#   tolvik::pcre2    8-bit PCRE2 (JIT)
#   tolvik::xml2     libxml2
#   tolvik::archive  libarchive
#   tolvik::crypto   OpenSSL libcrypto 3 on Linux, the platform's CNG (bcrypt) on Windows
# Natively they come from Debian's -dev packages. Cross-built for Windows they
# come from TOLVIK_WIN_DEPS_PREFIX (scripts/build-win-deps.sh, set by the mingw
# toolchain files) and are linked statically, which needs their *_STATIC
# defines and an explicit order for their own dependencies.

if(WIN32)
  if(NOT EXISTS "${TOLVIK_WIN_DEPS_PREFIX}/include/pcre2.h")
    message(FATAL_ERROR "The Windows libraries are not built yet (looked in "
      "'${TOLVIK_WIN_DEPS_PREFIX}'). Run: scripts/build-win-deps.sh ${CMAKE_SYSTEM_PROCESSOR}")
  endif()
  # Static archives only: the import library libz.dll.a would tie the
  # programs to zlib1.dll.
  set(_tolvik_lib_names_pcre2 libpcre2-8.a)
  set(_tolvik_lib_names_xml2 libxml2.a)
  set(_tolvik_lib_names_archive libarchive.a)
  find_library(TOLVIK_ZLIB_LIBRARY NAMES libz.a REQUIRED)
else()
  set(_tolvik_lib_names_pcre2 pcre2-8)
  set(_tolvik_lib_names_xml2 xml2)
  set(_tolvik_lib_names_archive archive)
endif()

# _tolvik_import(<name> HEADER <file> [SUFFIX <dir>]): tolvik::<name> from a
# header and a library found on the (cross) search path.
function(_tolvik_import name)
  cmake_parse_arguments(A "" "HEADER;SUFFIX" "" ${ARGN})
  string(TOUPPER ${name} upper)
  find_path(TOLVIK_${upper}_INCLUDE_DIR ${A_HEADER} PATH_SUFFIXES ${A_SUFFIX} REQUIRED)
  find_library(TOLVIK_${upper}_LIBRARY NAMES ${_tolvik_lib_names_${name}} REQUIRED)
  add_library(tolvik::${name} UNKNOWN IMPORTED GLOBAL)
  set_target_properties(tolvik::${name} PROPERTIES
    IMPORTED_LOCATION "${TOLVIK_${upper}_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${TOLVIK_${upper}_INCLUDE_DIR}")
endfunction()

_tolvik_import(pcre2 HEADER pcre2.h)
_tolvik_import(xml2 HEADER libxml/parser.h SUFFIX libxml2)
_tolvik_import(archive HEADER archive.h)

# 8-bit code units everywhere: Str is UTF-8.
set_property(TARGET tolvik::pcre2 APPEND PROPERTY INTERFACE_COMPILE_DEFINITIONS PCRE2_CODE_UNIT_WIDTH=8)

if(WIN32)
  set_property(TARGET tolvik::pcre2 APPEND PROPERTY INTERFACE_COMPILE_DEFINITIONS PCRE2_STATIC)
  set_property(TARGET tolvik::xml2 APPEND PROPERTY INTERFACE_COMPILE_DEFINITIONS LIBXML_STATIC)
  set_property(TARGET tolvik::archive APPEND PROPERTY INTERFACE_COMPILE_DEFINITIONS LIBARCHIVE_STATIC)
  # libxml2 speaks HTTP/FTP through Winsock; libarchive hashes with CNG.
  set_property(TARGET tolvik::xml2 APPEND PROPERTY INTERFACE_LINK_LIBRARIES ws2_32)
  set_property(TARGET tolvik::archive APPEND PROPERTY INTERFACE_LINK_LIBRARIES ${TOLVIK_ZLIB_LIBRARY} bcrypt)

  add_library(tolvik::crypto INTERFACE IMPORTED GLOBAL)
  set_property(TARGET tolvik::crypto PROPERTY INTERFACE_LINK_LIBRARIES bcrypt)
else()
  find_package(OpenSSL 3 REQUIRED COMPONENTS Crypto)
  add_library(tolvik::crypto INTERFACE IMPORTED GLOBAL)
  set_property(TARGET tolvik::crypto PROPERTY INTERFACE_LINK_LIBRARIES OpenSSL::Crypto)
endif()
