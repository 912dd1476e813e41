# Debian packages: gcc-arm-none-eabi libnewlib-arm-none-eabi libstdc++-arm-none-eabi-newlib qemu-system-arm
# Single precision in hardware, double precision by functions of the compiler's library.
set(board mps2-an386)
set(board_flags "-mcpu=cortex-m4 -mfpu=fpv4-sp-d16")
include(${CMAKE_CURRENT_LIST_DIR}/../cortex-m.cmake)
