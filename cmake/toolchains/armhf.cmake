# 32-bit Arm with hardware floating point, little-endian, plain char unsigned
set(CMAKE_SYSTEM_PROCESSOR arm)
set(triple arm-linux-gnueabihf)
set(emulator qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)
