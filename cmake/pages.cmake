# The manual's pages, made from *.scd by scdoc; without it there are none. Target `pages` makes all of them.
find_program(SCDOC scdoc)
set(IPV6CTL_PAGE_FOLDER "${CMAKE_BINARY_DIR}/pages")
file(MAKE_DIRECTORY "${IPV6CTL_PAGE_FOLDER}")
add_custom_target(pages ALL)

# ipv6ctl_page(NAME SECTION SOURCE): the page NAME(SECTION), from an absolute path. Target `NAME_page` makes it alone.
function(ipv6ctl_page name section source)
    if(NOT SCDOC)
        return()
    endif()
    set(page "${IPV6CTL_PAGE_FOLDER}/${name}.${section}")
    add_custom_command(OUTPUT "${page}" DEPENDS "${source}" VERBATIM
        COMMAND sh -c "\"$1\" <\"$2\" >\"$3\"" sh "${SCDOC}" "${source}" "${page}")
    add_custom_target(${name}_page DEPENDS "${page}")
    add_dependencies(pages ${name}_page)
    install(FILES "${page}" DESTINATION "/usr/share/man/man${section}" OPTIONAL PERMISSIONS ${IPV6CTL_FILE_MODE})
endfunction()
