# This machine's processor with the C library musl, for the program alone: libstdc++ is built against the other C
# library, so only its headers that need no library can be used. What stands in the way of them is named here.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${CMAKE_HOST_SYSTEM_PROCESSOR})
set(CMAKE_C_COMPILER gcc)
set(CMAKE_CXX_COMPILER g++)
execute_process(COMMAND gcc -print-multiarch OUTPUT_VARIABLE multiarch OUTPUT_STRIP_TRAILING_WHITESPACE)
string(REPLACE -gnu -musl musl "${multiarch}")

# The kernel's headers lie among those of the other C library: a folder with them alone, searched last.
set(kernel "${CMAKE_BINARY_DIR}/kernel-headers")
file(MAKE_DIRECTORY "${kernel}")
file(CREATE_LINK /usr/include/linux "${kernel}/linux" SYMBOLIC)
file(CREATE_LINK /usr/include/asm-generic "${kernel}/asm-generic" SYMBOLIC)
file(CREATE_LINK /usr/include/${multiarch}/asm "${kernel}/asm" SYMBOLIC)

set(flags "-specs /usr/lib/${musl}/musl-gcc.specs -idirafter ${kernel}")
set(CMAKE_C_FLAGS_INIT "${flags}")
# The specs drop every folder of headers; those of C++ come back in front of musl's. Their configuration asks for the
# version of the other C library with a macro that musl does not have.
execute_process(COMMAND g++ -dumpversion OUTPUT_VARIABLE version OUTPUT_STRIP_TRAILING_WHITESPACE)
set(CMAKE_CXX_FLAGS_INIT "-isystem /usr/include/c++/${version} -isystem /usr/include/${multiarch}/c++/${version} \
-isystem /usr/include/${musl} ${flags} '-D__GLIBC_PREREQ(major,minor)=0'")
set(IPV6CTL_UNIT_TESTS OFF)   # GoogleTest needs libstdc++
