# Debian packages, one per component of install.cmake: cpack --preset x64, cpack --preset x86. The
# 64-bit build makes libdibprep1, libdibprep-dev and the tool, dibprep; the 32-bit build makes
# lib32dibprep1 and lib32dibprep-dev, packages of amd64 too, for 32-bit programs there.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_VENDOR "The dibprep authors")
if(NOT CPACK_PACKAGE_CONTACT) # whoever publishes packages: -DCPACK_PACKAGE_CONTACT="Name <address>"
  set(CPACK_PACKAGE_CONTACT "The dibprep authors")
endif()
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Dependencies come from what the binaries link; the tool's own libraries lie in the build folder.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/platform)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_COMPONENTS_ALL runtime development)
set(same_version "(= ${PROJECT_VERSION})")
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
  set(prefix lib32)
  set(programs "32-bit programs")
  set(more_development ", libdibprep-dev ${same_version}")
else()
  set(prefix lib)
  set(programs "programs")
  if(DIBPREP_TOOLS)
    list(APPEND CPACK_COMPONENTS_ALL tool)
  endif()
endif()
set(runtime_package ${prefix}dibprep${PROJECT_VERSION_MAJOR})

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "image preparation for printing, faxing, scanning and archiving
Changes the resolution, the depth and the number of colours of page images,
as device-independent bitmaps in memory blocks, with results defined to the
byte.
.
This package holds libdibprep for ${programs}, and libdibhost, the
memory and file functions for those without such a layer of their own.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${prefix}dibprep-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${runtime_package} ${same_version}${more_development}")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "image preparation: development files
What ${programs} are built with that use libdibprep or libdibhost:
headers, the names to link, and descriptions for CMake and pkg-config.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME dibprep)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${runtime_package} ${same_version}")
set(CPACK_DEBIAN_TOOL_DESCRIPTION "image preparation: command-line tool
Changes the resolution, the depth and the number of colours of page files
with libdibprep.")

# CPack has the loader's cache made anew for usr/lib, but not for usr/lib32.
file(WRITE ${PROJECT_BINARY_DIR}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/triggers)

# Every package carries its licence and its changes. An installation without packages does not.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/CHANGELOG.md)
execute_process(COMMAND gzip -9nc INPUT_FILE ${PROJECT_SOURCE_DIR}/CHANGELOG.md
                OUTPUT_FILE ${PROJECT_BINARY_DIR}/changelog.gz COMMAND_ERROR_IS_FATAL ANY)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(folder ${CMAKE_INSTALL_DATAROOTDIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${folder} RENAME copyright
          COMPONENT ${component} EXCLUDE_FROM_ALL)
  install(FILES ${PROJECT_BINARY_DIR}/changelog.gz DESTINATION ${folder} COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()
include(CPack)
