# Debian packages: g++-aarch64-linux-gnu qemu-user googletest
set(CMAKE_SYSTEM_PROCESSOR aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/../linux-cross.cmake)
