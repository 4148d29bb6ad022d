# Flags for everything that runs on the device: no runtime library of C++, every warning an error.
add_library(ipv6ctl_options INTERFACE)
target_compile_options(ipv6ctl_options INTERFACE
    -Wall -Wextra -Wshadow -Wconversion -Wformat=2 -Werror
    $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions>
    $<$<COMPILE_LANGUAGE:CXX>:-fno-rtti>
    $<$<COMPILE_LANGUAGE:CXX>:-fno-threadsafe-statics>)
target_compile_definitions(ipv6ctl_options INTERFACE _GNU_SOURCE)

if(IPV6CTL_SANITIZE)
    target_compile_options(ipv6ctl_options INTERFACE
        -g -fno-omit-frame-pointer -fsanitize=address,undefined -fno-sanitize-recover=all)
    target_link_options(ipv6ctl_options INTERFACE -fsanitize=address,undefined)
    set(IPV6CTL_LINKER_LANGUAGE CXX)   # the sanitizers bring the runtime library with them
else()
    set(IPV6CTL_LINKER_LANGUAGE C)     # linked as C, so that nothing can pull the C++ runtime library in
endif()
