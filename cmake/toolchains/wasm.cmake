# WebAssembly with 16-byte vectors, by Debian's Clang 19 and its libraries. Pointers have 32 bits.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR wasm32)
set(CMAKE_C_COMPILER clang-19)
set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_C_COMPILER_TARGET wasm32-wasi)
set(CMAKE_CXX_COMPILER_TARGET wasm32-wasi)
set(CMAKE_C_FLAGS_INIT "-msimd128 -mbulk-memory")
set(CMAKE_CXX_FLAGS_INIT "-msimd128 -mbulk-memory")

# Libraries and headers of the target only. What is compiled to learn of the compiler is not linked.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_FIND_ROOT_PATH /usr/lib/wasm32-wasi /usr/include/wasm32-wasi)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
