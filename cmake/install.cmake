# What an installation holds, for every width: libraries, headers, and what CMake and pkg-config need
# to find them. The components are the packages of packages.cmake:
#
#   runtime      the libraries under their versioned names
#   development  what programs are linked with; all of it carries the width in its path or name
#   tool         the command-line host
#
# Headers and the CMake package's own two files are the same in both widths. They are the 64-bit
# build's to package: lib32dibprep-dev depends on libdibprep-dev, so that no file has two owners.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(DIBPREP_HEADERS_COMPONENT headers)
else()
  set(DIBPREP_HEADERS_COMPONENT development)
endif()

# CMake searches lib/cmake whatever the width, and lib32 on few systems: the package file stands in
# lib/cmake and picks the targets of the width that is asked for.
set(cmake_folder lib/cmake/dibprep)
math(EXPR width "${CMAKE_SIZEOF_VOID_P} * 8")
include(CMakePackageConfigHelpers)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/dibprep-config-version.cmake
                                 COMPATIBILITY SameMajorVersion ARCH_INDEPENDENT)
install(FILES ${CMAKE_CURRENT_LIST_DIR}/dibprep-config.cmake ${PROJECT_BINARY_DIR}/dibprep-config-version.cmake
        DESTINATION ${cmake_folder} COMPONENT ${DIBPREP_HEADERS_COMPONENT})
install(EXPORT dibprep FILE dibprep-targets-${width}.cmake NAMESPACE dibprep:: DESTINATION ${cmake_folder}
        COMPONENT development)

# The pkg-config files find the prefix from where they lie, so that an installation may be moved.
set(pkgconfig_folder ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH include_from_pkgconfig ${pkgconfig_folder} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
foreach(name dibprep dibhost)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()

# A shared library: its versioned names for running, the plain name for linking.
function(dibprep_install_library target)
  install(TARGETS ${target} EXPORT dibprep LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
          COMPONENT runtime NAMELINK_COMPONENT development)
endfunction()
