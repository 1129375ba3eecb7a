if(TOLVIK_SANITIZE)
  add_compile_options(-fsanitize=${TOLVIK_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${TOLVIK_SANITIZE})
endif()

if(TOLVIK_BUILD_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "TOLVIK_BUILD_FUZZ needs clang (libFuzzer): -DCMAKE_CXX_COMPILER=clang++")
  endif()
  # Coverage and ASan for every library the fuzzers reach; only the fuzzer
  # executables link libFuzzer's main (fuzz/CMakeLists.txt).
  add_compile_options(-fsanitize=fuzzer-no-link,address -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address)
endif()
