# Run by cpack on the staged files: what the libraries depend on. cpack's own way
# (CPACK_DEBIAN_PACKAGE_SHLIBDEPS) brings scripts that call ldconfig, where a trigger is in place.
set(stage ${CPACK_TEMPORARY_DIRECTORY}/runtime)
file(GLOB_RECURSE libraries ${stage}/*.so.*)
set(work ${CPACK_TOPLEVEL_DIRECTORY}/shlibdeps)
file(WRITE ${work}/debian/control "") # dpkg-shlibdeps wants to see both
file(MAKE_DIRECTORY ${stage}/DEBIAN)
execute_process(COMMAND dpkg-shlibdeps -O ${libraries}
  WORKING_DIRECTORY ${work} OUTPUT_VARIABLE depends COMMAND_ERROR_IS_FATAL ANY)
file(REMOVE_RECURSE ${stage}/DEBIAN)
string(REGEX REPLACE "^shlibs:Depends=([^\n]*)\n$" "\\1" CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "${depends}")
