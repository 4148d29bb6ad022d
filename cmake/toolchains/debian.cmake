# One of Debian's cross compilers, named by TRIPLET, with its C library under /usr/TRIPLET. What is built runs on this
# machine through qemu-user, named by QEMU.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${TRIPLET}-g++)
set(CMAKE_FIND_ROOT_PATH /usr/${TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(IPV6CTL_EMULATOR /usr/bin/${QEMU}-static)
set(IPV6CTL_SYSROOT /usr/${TRIPLET})
set(CMAKE_CROSSCOMPILING_EMULATOR ${IPV6CTL_EMULATOR} -L ${IPV6CTL_SYSROOT})
# GoogleTest is not there for foreign processors: cmake/googletest builds it.
set(CMAKE_FIND_PACKAGE_PREFER_CONFIG ON)
set(GTest_DIR ${CMAKE_CURRENT_LIST_DIR}/../googletest)
