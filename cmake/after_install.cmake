# Run at the end of an installation: says what programs need to find the library. MERLO64F_LIBDIR is the
# library directory. Silent in a package, and where the loader finds the library as it is.
cmake_policy(VERSION 3.25) # the caller sets none
if("$ENV{DESTDIR}" STREQUAL "" AND CMAKE_HOST_SYSTEM_NAME STREQUAL "Linux")
  cmake_path(ABSOLUTE_PATH MERLO64F_LIBDIR BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} NORMALIZE)
  set(loader_directories /lib /lib64 /usr/lib /usr/lib64)
  file(GLOB lists /etc/ld.so.conf /etc/ld.so.conf.d/*.conf)
  foreach(list IN LISTS lists)
    file(STRINGS ${list} directories REGEX "^/")
    list(APPEND loader_directories ${directories})
  endforeach()
  if(MERLO64F_LIBDIR IN_LIST loader_directories)
    message(STATUS "Run ldconfig as root; until then the loader does not find the new library.")
  else()
    message(STATUS "The loader does not search ${MERLO64F_LIBDIR}. To build and run programs:
   export PKG_CONFIG_PATH=${MERLO64F_LIBDIR}/pkgconfig LD_LIBRARY_PATH=${MERLO64F_LIBDIR}
   cmake -DCMAKE_PREFIX_PATH=${CMAKE_INSTALL_PREFIX} ...")
  endif()
endif()
