# Debian packages: g++-arm-linux-gnueabihf qemu-user googletest
# 32 bits, without vector registers for doubles.
set(CMAKE_SYSTEM_PROCESSOR arm)
set(debian_triplet arm-linux-gnueabihf)
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi) # notes on interfaces between C++ functions
include(${CMAKE_CURRENT_LIST_DIR}/../linux-cross.cmake)
