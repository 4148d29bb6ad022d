# The layout of the device: the program under /usr/sbin with a link for each of its command names, and, on the stock platform, the
# store tool and the kit. The paths are absolute because the program's shell lines name them.
set(IPV6CTL_COMMANDS
    zel_ipv6_lan zel_ip6neigh_update zel_dhcp6c_update zel_resolv_update zel_ipcp_up zel_ipcp_down
    zel_ipv6cp_up zel_ipv6cp_down zel_ifconfig wan6c_restart ipv6rd_restart dhcp6c_start dhcp6c_restart
    dhcp6c_release dhcp6c_renew ipv6_lan_restart)

install(TARGETS ipv6ctl RUNTIME DESTINATION /usr/sbin)
foreach(command IN LISTS IPV6CTL_COMMANDS)
    install(CODE "file(CREATE_LINK ipv6ctl \"\$ENV{DESTDIR}/usr/sbin/${command}\" SYMBOLIC)" COMPONENT program)
endforeach()

if(IPV6CTL_PLATFORM STREQUAL "stock")
    install(TARGETS ccfg_cli RUNTIME DESTINATION /usr/sbin COMPONENT stock)
    install(DIRECTORY platform/stock/kit/root/ DESTINATION / COMPONENT stock
        FILE_PERMISSIONS ${IPV6CTL_FILE_MODE} DIRECTORY_PERMISSIONS ${IPV6CTL_SCRIPT_MODE}
        REGEX "/(usr/sbin|init\\.d)/[^/]+$|/closev6$" PERMISSIONS ${IPV6CTL_SCRIPT_MODE})
    install(DIRECTORY platform/stock/kit/adapters DESTINATION /usr/lib/ipv6ctl COMPONENT stock
        FILE_PERMISSIONS ${IPV6CTL_SCRIPT_MODE} DIRECTORY_PERMISSIONS ${IPV6CTL_SCRIPT_MODE})
    install(FILES companions/settings/completion/ccfg_cli DESTINATION /usr/share/bash-completion/completions
        COMPONENT stock PERMISSIONS ${IPV6CTL_FILE_MODE})
    install(DIRECTORY packaging/system/etc packaging/system/usr DESTINATION / COMPONENT stock
        FILE_PERMISSIONS ${IPV6CTL_FILE_MODE} DIRECTORY_PERMISSIONS ${IPV6CTL_SCRIPT_MODE})
    foreach(hook IN ITEMS ip-up ip-down ipv6-up ipv6-down)
        install(PROGRAMS packaging/system/ppp-hook DESTINATION /etc/ppp/${hook}.d RENAME ipv6ctl COMPONENT stock
            PERMISSIONS ${IPV6CTL_SCRIPT_MODE})
    endforeach()
endif()
