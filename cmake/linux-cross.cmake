# Debian's cross compiler for Linux on CMAKE_SYSTEM_PROCESSOR. qemu-user runs the programs. The variable
# `debian_triplet` is set where the triplet is not <processor>-linux-gnu.
set(CMAKE_SYSTEM_NAME Linux)
if(NOT debian_triplet)
  set(debian_triplet ${CMAKE_SYSTEM_PROCESSOR}-linux-gnu)
endif()
set(CMAKE_C_COMPILER ${debian_triplet}-gcc)
set(CMAKE_CXX_COMPILER ${debian_triplet}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${CMAKE_SYSTEM_PROCESSOR};-L;/usr/${debian_triplet})
