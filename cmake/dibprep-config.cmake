# The CMake package dibprep, for both widths under one prefix:
#
#   dibprep::dibprep  the library. It imports the host functions (dibprep/host.h), which the program
#                     defines itself or takes from
#   dibprep::host     libdibhost
#   dibprep::headers  the headers alone, for programs that load the library at run time
if(NOT CMAKE_SIZEOF_VOID_P)
  set(dibprep_FOUND FALSE)
  set(dibprep_NOT_FOUND_MESSAGE "The project must enable C or C++ before it looks for dibprep.")
  return()
endif()
math(EXPR dibprep_width "${CMAKE_SIZEOF_VOID_P} * 8")
if(NOT EXISTS ${CMAKE_CURRENT_LIST_DIR}/dibprep-targets-${dibprep_width}.cmake)
  set(dibprep_FOUND FALSE)
  set(dibprep_NOT_FOUND_MESSAGE "This installation of dibprep has no ${dibprep_width}-bit library to link with.")
  return()
endif()
include(${CMAKE_CURRENT_LIST_DIR}/dibprep-targets-${dibprep_width}.cmake)
