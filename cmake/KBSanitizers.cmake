# KB_SANITIZE: sanitizers for everything in this build, dependencies that CMake fetches included.
if(KB_SANITIZE)
  list(JOIN KB_SANITIZE "," kb_sanitizers)
  add_compile_options(-fsanitize=${kb_sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${kb_sanitizers})
endif()
