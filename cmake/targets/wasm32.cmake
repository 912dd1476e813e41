# Debian packages: clang-14 lld-14 wasi-libc libclang-rt-14-dev-wasm32 libc++-14-dev-wasm32 libc++abi-14-dev-wasm32 nodejs googletest
# WebAssembly with its vectors of 128 bits, run by node.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR wasm32)
set(CMAKE_C_COMPILER clang-14)
set(CMAKE_CXX_COMPILER clang++-14)
set(CMAKE_C_COMPILER_TARGET wasm32-wasi)
set(CMAKE_CXX_COMPILER_TARGET wasm32-wasi)
set(CMAKE_C_FLAGS_INIT "-msimd128 -mbulk-memory")
set(CMAKE_CXX_FLAGS_INIT "-msimd128 -mbulk-memory -fexceptions -DGTEST_HAS_STREAM_REDIRECTION=0")
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../run_wasi.mjs)
# For the linker: clang runs wasm-opt after it, if there is one, unless the level is 0.
set(CMAKE_EXE_LINKER_FLAGS_INIT -O0)
