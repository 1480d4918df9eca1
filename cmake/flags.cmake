# Compiler flags that every target of the project shares.
add_library(dibprep_flags INTERFACE)
target_compile_options(dibprep_flags INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wvla
  # The same arithmetic in both widths: no fused multiply-add, no x87.
  -ffp-contract=off)
if(DIBPREP_WERROR)
  target_compile_options(dibprep_flags INTERFACE -Werror)
endif()
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  # Old hosts call with a stack aligned to 4 bytes only. GCC forgets -mstackrealign in functions with a
  # target attribute, and calls out with the stack as it came; clang does not know the other option.
  target_compile_options(dibprep_flags INTERFACE -msse2 -mfpmath=sse
    $<IF:$<CXX_COMPILER_ID:GNU>,-mincoming-stack-boundary=2,-mstackrealign>)
endif()
if(DIBPREP_SANITIZE)
  # On the directory, so that the test framework is built alike. A report ends the program.
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
if(DIBPREP_FUZZ)
  # Counts what is reached, in the library and in everything else.
  add_compile_options(-fsanitize=fuzzer-no-link,float-cast-overflow)
endif()
