# The manual's pages, made from *.scd by scdoc; without it there are none. Target `pages` makes all of them.
find_program(SCDOC scdoc)
set(IPV6CTL_PAGE_FOLDER "${CMAKE_BINARY_DIR}/pages")
set(IPV6CTL_PAGE_MODE OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)

# ipv6ctl_page(NAME SECTION SOURCE COMPONENT): the page NAME(SECTION), for an absolute path of its source.
function(ipv6ctl_page name section source component)
    set(page "${IPV6CTL_PAGE_FOLDER}/${name}.${section}")
    add_custom_command(OUTPUT "${page}" DEPENDS "${source}" VERBATIM
        COMMAND sh -c "\"$1\" <\"$2\" >\"$3\"" sh "${SCDOC}" "${source}" "${page}")
    set_property(GLOBAL APPEND PROPERTY IPV6CTL_PAGES "${page}")
    install(FILES "${page}" DESTINATION "/usr/share/man/man${section}" OPTIONAL COMPONENT ${component}
        PERMISSIONS ${IPV6CTL_PAGE_MODE})
endfunction()

add_custom_target(pages ALL)
if(SCDOC)
    file(MAKE_DIRECTORY "${IPV6CTL_PAGE_FOLDER}")
    ipv6ctl_page(ipv6ctl 8 "${PROJECT_SOURCE_DIR}/docs/man/ipv6ctl.8.scd" program)
    ipv6ctl_page(ipv6ctl-log 5 "${PROJECT_SOURCE_DIR}/docs/man/ipv6ctl-log.5.scd" program)
    if(IPV6CTL_PLATFORM STREQUAL "stock")
        set(settings "${PROJECT_SOURCE_DIR}/companions/settings")
        set(settings_source "${IPV6CTL_PAGE_FOLDER}/ipv6ctl-settings.5.scd")
        find_package(Python3 REQUIRED COMPONENTS Interpreter)
        add_custom_command(OUTPUT "${settings_source}" VERBATIM
            DEPENDS "${settings}/make_table.py" "${settings}/settings.txt" "${settings}/ipv6ctl-settings.5.scd.in"
            COMMAND Python3::Interpreter make_table.py page settings.txt ipv6ctl-settings.5.scd.in "${settings_source}"
            WORKING_DIRECTORY "${settings}")
        ipv6ctl_page(ccfg_cli 1 "${settings}/ccfg_cli.1.scd" stock)
        ipv6ctl_page(ipv6ctl-settings 5 "${settings_source}" stock)
    endif()
    get_property(pages GLOBAL PROPERTY IPV6CTL_PAGES)
    add_custom_target(own_pages DEPENDS ${pages})
    add_dependencies(pages own_pages)
    foreach(tool IN ITEMS ipv6trace ipv6status ipv6rehearse)   # each brings its own page
        if(TARGET ${tool}_page)
            add_dependencies(pages ${tool}_page)
        endif()
    endforeach()
endif()
