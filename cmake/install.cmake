# The layout of the device: the program under /usr/sbin with a link for each of its command names, and, on the stock platform, the
# store tool and the kit. The paths are absolute because the program's shell lines name them.
set(IPV6CTL_COMMANDS
    zel_ipv6_lan zel_ip6neigh_update zel_dhcp6c_update zel_resolv_update zel_ipcp_up zel_ipcp_down
    zel_ipv6cp_up zel_ipv6cp_down zel_ifconfig wan6c_restart ipv6rd_restart dhcp6c_start dhcp6c_restart
    dhcp6c_release dhcp6c_renew ipv6_lan_restart)

install(TARGETS ipv6ctl RUNTIME DESTINATION /usr/sbin)
foreach(command IN LISTS IPV6CTL_COMMANDS)
    install(CODE "file(CREATE_LINK ipv6ctl \"\$ENV{DESTDIR}/usr/sbin/${command}\" SYMBOLIC)")
endforeach()

if(IPV6CTL_PLATFORM STREQUAL "stock")
    install(TARGETS ccfg_cli RUNTIME DESTINATION /usr/sbin)
    install(DIRECTORY platform/stock/kit/root/ DESTINATION / USE_SOURCE_PERMISSIONS)
    install(DIRECTORY platform/stock/kit/adapters DESTINATION /usr/lib/ipv6ctl USE_SOURCE_PERMISSIONS)
endif()
