# 32-bit MIPS, big-endian
set(CMAKE_SYSTEM_PROCESSOR mips)
set(triple mips-linux-gnu)
set(emulator qemu-mips)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)
