# Debian packages: gcc-arm-none-eabi libnewlib-arm-none-eabi libstdc++-arm-none-eabi-newlib qemu-system-arm
# Double precision in hardware.
set(board mps2-an500)
set(board_flags "-mcpu=cortex-m7 -mfpu=fpv5-d16")
include(${CMAKE_CURRENT_LIST_DIR}/../cortex-m.cmake)
