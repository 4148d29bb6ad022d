# 64-bit, big-endian, char is unsigned
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(TRIPLET s390x-linux-gnu)
set(QEMU qemu-s390x)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
