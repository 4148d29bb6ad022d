# GoogleTest from the sources of Debian's package googletest, for a processor that has no built one.
if(NOT TARGET GTest::gtest)
    set(BUILD_GMOCK OFF)
    set(INSTALL_GTEST OFF)
    add_subdirectory(/usr/src/googletest "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL)
    if(CMAKE_SIZEOF_VOID_P EQUAL 4)
        target_compile_definitions(gtest PRIVATE _FILE_OFFSET_BITS=64 _TIME_BITS=64)   # as cmake/options.cmake has it
    endif()
endif()
