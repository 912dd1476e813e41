# Debian packages: g++-riscv64-linux-gnu qemu-user googletest
set(CMAKE_SYSTEM_PROCESSOR riscv64)
include(${CMAKE_CURRENT_LIST_DIR}/../linux-cross.cmake)
