# 64-bit ARM, little-endian
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(TRIPLET aarch64-linux-gnu)
set(QEMU qemu-aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
