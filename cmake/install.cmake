# Two components: runtime (the shared library) and development (headers, static library, pkg-config file,
# CMake package).
include(CMakePackageConfigHelpers)

file(GLOB MERLO64F_HEADERS CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/include/*.h)
list(APPEND MERLO64F_HEADERS ${CMAKE_CURRENT_SOURCE_DIR}/support/fft_tables.h)

install(TARGETS ${MERLO64F_LIBRARIES} EXPORT merlo64f-targets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
if(TARGET merlo64f_v3)
  install(TARGETS merlo64f_v3
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/${MERLO64F_HWCAPS_DIR}
    COMPONENT runtime NAMELINK_SKIP)
endif()
set(MERLO64F_CXX_HEADERS
  ${CMAKE_CURRENT_SOURCE_DIR}/support/merlo64f.hpp
  ${CMAKE_CURRENT_SOURCE_DIR}/support/merlo64f_families.hpp)
install(FILES ${MERLO64F_HEADERS} ${MERLO64F_CXX_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/merlo64f
  COMPONENT development)

set(MERLO64F_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/merlo64f)
configure_package_config_file(cmake/merlo64f-config.cmake.in merlo64f-config.cmake
  INSTALL_DESTINATION ${MERLO64F_PACKAGE_DIR})
write_basic_package_version_file(merlo64f-config-version.cmake COMPATIBILITY SameMajorVersion)
install(EXPORT merlo64f-targets NAMESPACE merlo64f:: DESTINATION ${MERLO64F_PACKAGE_DIR}
  COMPONENT development)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/merlo64f-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/merlo64f-config-version.cmake
  DESTINATION ${MERLO64F_PACKAGE_DIR} COMPONENT development)

# The prefix in merlo64f.pc is relative to the file, so that the installed tree can be moved. It is
# absolute if the library directory is, and for /usr, where pkg-config omits the default directories.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(MERLO64F_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
else()
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
    BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE up)
  set(MERLO64F_PC_PREFIX "\${pcfiledir}/${up}")
endif()
foreach(directory LIBDIR INCLUDEDIR)
  set(MERLO64F_PC_${directory} "\${prefix}")
  cmake_path(APPEND MERLO64F_PC_${directory} "${CMAKE_INSTALL_${directory}}")
endforeach()
configure_file(cmake/merlo64f.pc.in merlo64f.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/merlo64f.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

install(CODE "set(MERLO64F_LIBDIR ${CMAKE_INSTALL_LIBDIR})" COMPONENT development)
install(SCRIPT cmake/after_install.cmake COMPONENT development)
