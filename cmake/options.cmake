# Flags for everything that runs on the device: no runtime library of C++, every warning an error.
add_library(ipv6ctl_options INTERFACE)
target_compile_options(ipv6ctl_options INTERFACE
    -Wall -Wextra -Wshadow -Wconversion -Wformat=2 -Werror
    $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions>
    $<$<COMPILE_LANGUAGE:CXX>:-fno-rtti>
    $<$<COMPILE_LANGUAGE:CXX>:-fno-threadsafe-statics>)
# Two builds of one state of the sources are the same, wherever they lie.
target_compile_options(ipv6ctl_options INTERFACE -ffile-prefix-map=${PROJECT_SOURCE_DIR}/= -Wdate-time)
target_compile_definitions(ipv6ctl_options INTERFACE _GNU_SOURCE)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    # A clock that goes on after 2038-01-19, and a log that can be opened when it is above 2 GB.
    target_compile_definitions(ipv6ctl_options INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()

if(IPV6CTL_SANITIZE)
    target_compile_options(ipv6ctl_options INTERFACE
        -g -fno-omit-frame-pointer -fsanitize=address,undefined -fno-sanitize-recover=all)
    target_link_options(ipv6ctl_options INTERFACE -fsanitize=address,undefined)
    set(IPV6CTL_LINKER_LANGUAGE CXX)   # the sanitizers bring the runtime library with them
else()
    set(IPV6CTL_LINKER_LANGUAGE C)     # linked as C, so that nothing can pull the C++ runtime library in
    set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES "")   # nor CMake name it on such a link line
    # What makes a mistake in memory hard to use. Named here and not left to a compiler's defaults, which differ between
    # distributions and cross compilers; tests/binary reads them back. Checked library calls exist with optimization only.
    target_compile_options(ipv6ctl_options INTERFACE
        -fPIE -fstack-protector-strong
        $<$<CONFIG:Release,MinSizeRel,RelWithDebInfo>:-U_FORTIFY_SOURCE>
        $<$<CONFIG:Release,MinSizeRel,RelWithDebInfo>:-D_FORTIFY_SOURCE=2>)
    target_link_options(ipv6ctl_options INTERFACE -pie LINKER:-z,relro,-z,now,-z,noexecstack,-z,text)

    # What a device has little of: no code or text that nothing uses, no tables for unwinding (nothing throws, and
    # debuggers have their own), one optimization over the whole program. docs/performance.md has what each one saves.
    target_compile_options(ipv6ctl_options INTERFACE
        -ffunction-sections -fdata-sections -fno-unwind-tables -fno-asynchronous-unwind-tables)
    target_link_options(ipv6ctl_options INTERFACE LINKER:--gc-sections)
    include(CheckIPOSupported)
    check_ipo_supported(RESULT IPV6CTL_WHOLE_PROGRAM OUTPUT unused LANGUAGES C CXX)
    if(IPV6CTL_WHOLE_PROGRAM AND CMAKE_BUILD_TYPE MATCHES "^(MinSizeRel|Release)$")
        set(CMAKE_INTERPROCEDURAL_OPTIMIZATION ON)
    endif()
endif()
