# Debian's cross compiler for CMAKE_SYSTEM_PROCESSOR. qemu-user runs the programs.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${CMAKE_SYSTEM_PROCESSOR}-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER ${CMAKE_SYSTEM_PROCESSOR}-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR
  qemu-${CMAKE_SYSTEM_PROCESSOR};-L;/usr/${CMAKE_SYSTEM_PROCESSOR}-linux-gnu)
