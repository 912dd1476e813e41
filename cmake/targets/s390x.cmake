# Debian packages: g++-s390x-linux-gnu qemu-user googletest
# Big-endian.
set(CMAKE_SYSTEM_PROCESSOR s390x)
include(${CMAKE_CURRENT_LIST_DIR}/../linux-cross.cmake)
