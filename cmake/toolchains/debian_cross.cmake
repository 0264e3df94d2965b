# Debian's cross compiler for `triple`, with its programs run by `emulator`; included by the toolchain files.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${triple}-gcc)
set(CMAKE_CXX_COMPILER ${triple}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator} -L /usr/${triple})

# Programs of the build machine, libraries and headers of the target only.
set(CMAKE_FIND_ROOT_PATH /usr/${triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
