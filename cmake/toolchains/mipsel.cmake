# 32-bit MIPS, little-endian
set(CMAKE_SYSTEM_PROCESSOR mipsel)
set(TRIPLET mipsel-linux-gnu)
set(QEMU qemu-mipsel)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
