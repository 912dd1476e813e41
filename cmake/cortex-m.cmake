# Bare metal: newlib, no operating system, no heap, for the Cortex-M of `board_flags`. qemu-system-arm runs
# the programs on `board`, through semihosting; tests/mps2 supports these boards.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(MERLO64F_BARE_METAL ON)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_C_COMPILER arm-none-eabi-gcc)
set(CMAKE_CXX_COMPILER arm-none-eabi-g++)
set(CMAKE_C_FLAGS_INIT "-mthumb -mfloat-abi=hard ${board_flags}")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT} -fno-exceptions -fno-rtti -fno-threadsafe-statics -Wno-psabi")
set(CMAKE_EXE_LINKER_FLAGS_INIT
  "-nostartfiles -T ${CMAKE_CURRENT_LIST_DIR}/../tests/mps2/mps2.ld -Wl,--gc-sections")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-system-arm;-M;${board};-display;none;-monitor;none;-serial;none;-chardev;stdio,id=out;-semihosting-config;enable=on,target=native,chardev=out;-kernel)
