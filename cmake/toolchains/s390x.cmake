# 64-bit IBM Z, big-endian, plain char unsigned
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(triple s390x-linux-gnu)
set(emulator qemu-s390x)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)
