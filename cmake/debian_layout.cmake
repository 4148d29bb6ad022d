# Runs between CPack's installation of the components and the making of the packages: what Debian's policy wants of a package and a
# device's image does not need.
find_program(GZIP gzip REQUIRED)
set(source "${CMAKE_CURRENT_LIST_DIR}/..")
foreach(pair IN ITEMS program:ipv6ctl stock:ipv6ctl-stock lab:ipv6ctl-lab)
    string(REPLACE ":" ";" pair "${pair}")
    list(GET pair 0 component)
    list(GET pair 1 package)
    set(root "${CPACK_TEMPORARY_DIRECTORY}/${component}")
    if(NOT IS_DIRECTORY "${root}")
        message(FATAL_ERROR "no component in ${root}")
    endif()

    file(REMOVE_RECURSE "${root}/usr/local")   # CPack makes it, whatever the paths are

    # Another package's init script has this place: the maintainer scripts put ours there.
    if(EXISTS "${root}/etc/init.d/cron")
        file(MAKE_DIRECTORY "${root}/usr/lib/ipv6ctl/init.d")
        file(RENAME "${root}/etc/init.d/cron" "${root}/usr/lib/ipv6ctl/init.d/cron")
    endif()
    # The adapters stand in place; "enable" and "disable" are for systems without dpkg.
    if(component STREQUAL "stock")
        foreach(adapter IN ITEMS dhclient ps nslookup ecmh)
            file(COPY "${root}/usr/lib/ipv6ctl/adapters/${adapter}" DESTINATION "${root}/usr/sbin")
        endforeach()
        file(REMOVE "${root}/usr/lib/ipv6ctl/adapters/enable" "${root}/usr/lib/ipv6ctl/adapters/disable")
        file(MAKE_DIRECTORY "${root}/usr/lib/ipv6ctl/stock")
        foreach(tool IN ITEMS ps nslookup)   # dhclient's place is where the diversion leads
            file(CREATE_LINK "../../../bin/${tool}" "${root}/usr/lib/ipv6ctl/stock/${tool}" SYMBOLIC)
        endforeach()
        file(MAKE_DIRECTORY "${root}/usr/share/lintian/overrides")
        configure_file("${source}/packaging/debian/stock/lintian-overrides" "${root}/usr/share/lintian/overrides/${package}" COPYONLY)
    endif()

    set(doc "${root}/usr/share/doc/${package}")
    file(MAKE_DIRECTORY "${doc}")
    configure_file("${source}/packaging/debian/copyright" "${doc}/copyright" COPYONLY)
    set(PACKAGE "${package}")
    set(VERSION "${CPACK_PACKAGE_VERSION}-1")
    set(CONTACT "${CPACK_PACKAGE_CONTACT}")
    configure_file("${source}/packaging/debian/changelog.in" "${doc}/changelog.Debian" @ONLY)
    configure_file("${source}/CHANGELOG.md" "${doc}/changelog" COPYONLY)
    set(guides)
    if(component STREQUAL "program")   # what somebody wants to read on a gateway
        foreach(guide IN ITEMS debian-gateway field-problems odd-rules porting)
            configure_file("${source}/docs/${guide}.md" "${doc}/${guide}.md" COPYONLY)
            list(APPEND guides "${doc}/${guide}.md")
        endforeach()
    endif()
    file(GLOB pages "${root}/usr/share/man/man*/*.[0-9]")
    foreach(file IN LISTS pages guides ITEMS "${doc}/changelog.Debian" "${doc}/changelog")
        execute_process(COMMAND "${GZIP}" -9nf "${file}" COMMAND_ERROR_IS_FATAL ANY)
    endforeach()
    if(component STREQUAL "program")   # every command name has the program's page
        file(GLOB links RELATIVE "${root}/usr/sbin" "${root}/usr/sbin/*")
        list(REMOVE_ITEM links ipv6ctl)
        foreach(link IN LISTS links)
            file(CREATE_LINK ipv6ctl.8.gz "${root}/usr/share/man/man8/${link}.8.gz" SYMBOLIC)
        endforeach()
    endif()
    file(GLOB_RECURSE folders LIST_DIRECTORIES ON "${root}/*")
    foreach(folder IN LISTS folders)   # the builder's umask is nobody's business
        if(IS_DIRECTORY "${folder}" AND NOT IS_SYMLINK "${folder}")
            file(CHMOD "${folder}" PERMISSIONS
                OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
        endif()
    endforeach()
endforeach()
