# Debian packages of the two components, by cpack. Built for /usr, where the libraries go to the
# multiarch directory.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "libmerlo64f developers <libmerlo64f@example.org>")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SOURCE libmerlo64f)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package begins with a summary of its own
set(description
  "Least-mean-squares, recursive-least-squares, lattice, block and
frequency-domain filters as plain C records with free functions, for echo
cancellers, active noise control, line enhancers and system identification.
Every result has the same bits on every compiler, optimisation level and
processor, and the signal path allocates nothing and locks nothing.

")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libmerlo64f${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/debian/depends.cmake)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "adaptive digital filters in 64-bit floats - shared library
${description}This package contains what programs need to run.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libmerlo64f-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "adaptive digital filters in 64-bit floats - development files
${description}This package contains what is needed to build programs: the headers, the
pkg-config file and the CMake package.")

# Written here, for the library is there once more for x86-64-v3 and must be named once.
set(control ${CMAKE_CURRENT_BINARY_DIR}/debian)
file(CONFIGURE OUTPUT ${control}/shlibs
  CONTENT "libmerlo64f ${PROJECT_VERSION_MAJOR} ${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} (>= ${PROJECT_VERSION})\n")
file(CONFIGURE OUTPUT ${control}/triggers CONTENT "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${control}/shlibs ${control}/triggers)

configure_file(cmake/debian/changelog.in ${control}/changelog @ONLY)
execute_process(COMMAND gzip -9nc ${control}/changelog OUTPUT_FILE ${control}/changelog.gz
  COMMAND_ERROR_IS_FATAL ANY)
foreach(component RUNTIME DEVELOPMENT)
  string(TOLOWER ${component} install_component)
  install(FILES cmake/debian/copyright ${control}/changelog.gz
    DESTINATION share/doc/${CPACK_DEBIAN_${component}_PACKAGE_NAME}
    COMPONENT ${install_component} EXCLUDE_FROM_ALL)
endforeach()

include(CPack)
