# 32-bit MIPS, big-endian
set(CMAKE_SYSTEM_PROCESSOR mips)
set(TRIPLET mips-linux-gnu)
set(QEMU qemu-mips)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
