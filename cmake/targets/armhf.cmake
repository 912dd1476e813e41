# Debian packages: g++-arm-linux-gnueabihf qemu-user googletest
# 32 bits, without vector registers for doubles.
set(CMAKE_SYSTEM_PROCESSOR arm)
set(debian_triplet arm-linux-gnueabihf)
include(${CMAKE_CURRENT_LIST_DIR}/../linux-cross.cmake)
