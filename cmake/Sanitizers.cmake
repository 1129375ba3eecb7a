if(TOLVIK_SANITIZE)
  add_compile_options(-fsanitize=${TOLVIK_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${TOLVIK_SANITIZE})
endif()
