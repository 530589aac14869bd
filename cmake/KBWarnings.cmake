# Target kb_warnings: the warnings that all code of the project compiles without. Linked PRIVATE only, so that
# none of it reaches a program that uses the library.
add_library(kb_warnings INTERFACE)

if(MSVC)
  target_compile_options(kb_warnings INTERFACE /W4 /utf-8 $<$<BOOL:${KB_WERROR}>:/WX>)
else()
  target_compile_options(
    kb_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion $<$<BOOL:${KB_WERROR}>:-Werror>)
endif()

# The instrumentation of the sanitizers hides initialisations from GCC, which then warns about sound code, that of
# the standard library included. The other builds keep the warning.
if(KB_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(kb_warnings INTERFACE -Wno-maybe-uninitialized)
endif()
