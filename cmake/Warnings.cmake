# Warnings are errors on every compiler we build with. Third-party code built
# in the tree (GoogleTest) turns them off for its own targets.
if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
  add_compile_options(-Wall -Wextra -Wpedantic -Werror)
endif()
