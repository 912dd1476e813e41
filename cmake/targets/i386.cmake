# Debian packages: g++-i686-linux-gnu googletest
# 32 bits; processors with SSE2, because the x87 unit computes with wider doubles. An x86-64 machine runs
# the programs itself.
set(CMAKE_SYSTEM_PROCESSOR i386)
set(debian_triplet i686-linux-gnu)
set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
include(${CMAKE_CURRENT_LIST_DIR}/../linux-cross.cmake)
set(CMAKE_CROSSCOMPILING_EMULATOR
  /usr/${debian_triplet}/lib/ld-linux.so.2;--library-path;/usr/${debian_triplet}/lib)
