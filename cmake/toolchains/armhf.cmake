# 32-bit ARM, little-endian, char is unsigned
set(CMAKE_SYSTEM_PROCESSOR arm)
set(TRIPLET arm-linux-gnueabihf)
set(QEMU qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
