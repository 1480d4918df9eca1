# Loads the built library with dlopen. The program does not link it, and exports the host functions
# of its own.
dibprep_test(NAME load_unload_tests SOURCES load_unload_test.cpp LINK dibprep_headers ${CMAKE_DL_LIBS})
add_dependencies(load_unload_tests dibprep)
set_target_properties(load_unload_tests PROPERTIES ENABLE_EXPORTS ON)
target_compile_definitions(load_unload_tests PRIVATE DIBPREP_LIBRARY="$<TARGET_FILE:dibprep>")
