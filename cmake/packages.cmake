# Debian packages (`make deb`): ipv6ctl (component program), ipv6ctl-stock (stock), ipv6ctl-lab (lab).
if(NOT IPV6CTL_PLATFORM STREQUAL "stock")
    return()   # a device has a package system of its own
endif()

# The lab brings its own copies of the programs and the kit, so that it can be had without turning the machine into a gateway.
set(lab_root /usr/share/ipv6ctl-lab)
install(PROGRAMS packaging/debian/lab/ipv6ctl-lab DESTINATION /usr/sbin COMPONENT lab EXCLUDE_FROM_ALL)
install(TARGETS ipv6ctl ccfg_cli ipv6status RUNTIME DESTINATION /usr/lib/ipv6ctl-lab COMPONENT lab EXCLUDE_FROM_ALL)
install(PROGRAMS lab/lab DESTINATION ${lab_root}/lab COMPONENT lab EXCLUDE_FROM_ALL)
install(DIRECTORY lab/netlab DESTINATION ${lab_root}/lab COMPONENT lab EXCLUDE_FROM_ALL
    FILE_PERMISSIONS ${IPV6CTL_FILE_MODE} DIRECTORY_PERMISSIONS ${IPV6CTL_SCRIPT_MODE}
    FILES_MATCHING PATTERN "*.py" PATTERN "*.sh" PERMISSIONS ${IPV6CTL_SCRIPT_MODE} PATTERN "__pycache__" EXCLUDE)
install(DIRECTORY platform/stock/kit DESTINATION ${lab_root}/platform/stock COMPONENT lab EXCLUDE_FROM_ALL
    USE_SOURCE_PERMISSIONS DIRECTORY_PERMISSIONS ${IPV6CTL_SCRIPT_MODE})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ipv6ctl)
set(IPV6CTL_PACKAGE_CONTACT "ipv6ctl developers <developers@ipv6ctl.example.org>" CACHE STRING "Maintainer of the Debian packages")
set(CPACK_PACKAGE_CONTACT "${IPV6CTL_PACKAGE_CONTACT}")
set(CPACK_PACKAGE_DIRECTORY "${CMAKE_BINARY_DIR}/deb")
set(CPACK_SET_DESTDIR ON)   # the paths are the device's
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL program stock lab)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/cmake/debian_layout.cmake")

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME ipv6ctl)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "python3:any")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS "bash-completion, ipv6ctl-stock")
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION "configures and maintains the IPv6 side of a home gateway
One program with sixteen commands, started by link hooks, the DHCPv6 client,
cron and scripts: it gets the WAN its IPv6, gives each LAN a prefix, runs the
LAN's daemons and loads the packet filter. This package has the program, its
manual and ipv6trace, which shows what its runs did; what stands for a
device's firmware on an ordinary system is in ipv6ctl-stock.")

set(CPACK_DEBIAN_STOCK_PACKAGE_NAME ipv6ctl-stock)
set(CPACK_DEBIAN_STOCK_PACKAGE_DEPENDS
    "ipv6ctl (= ${PROJECT_VERSION}-1), python3:any, busybox-static | busybox, conntrack, dnsmasq-base, iproute2, iptables, isc-dhcp-client, isc-dhcp-server, net-tools, procps, psmisc, radvd, rdnssd")
set(CPACK_DEBIAN_STOCK_PACKAGE_RECOMMENDS "bubblewrap, cron | cron-daemon, logrotate")
set(CPACK_DEBIAN_STOCK_PACKAGE_SUGGESTS "bash-completion, ppp")
set(CPACK_DEBIAN_STOCK_PACKAGE_CONTROL_EXTRA
    "${PROJECT_SOURCE_DIR}/packaging/debian/stock/preinst;${PROJECT_SOURCE_DIR}/packaging/debian/stock/postinst;${PROJECT_SOURCE_DIR}/packaging/debian/stock/prerm;${PROJECT_SOURCE_DIR}/packaging/debian/stock/postrm;${PROJECT_SOURCE_DIR}/packaging/debian/stock/conffiles")
set(CPACK_DEBIAN_STOCK_DESCRIPTION "turns a Debian system into a gateway that ipv6ctl configures
The configuration store and its tool, the scripts that a device's firmware
has, and adapters over dhclient, ps, nslookup and the multicast proxy. The
stock dhclient is diverted while the package is installed. ipv6status shows
the gateway at a glance, ipv6rehearse what a command would do with given
settings.")

set(CPACK_DEBIAN_LAB_PACKAGE_NAME ipv6ctl-lab)
set(CPACK_DEBIAN_LAB_PACKAGE_DEPENDS
    "python3:any, busybox-static | busybox, conntrack, dnsmasq-base, iproute2, iptables, isc-dhcp-client, isc-dhcp-server, ndisc6, net-tools, procps, psmisc, radvd, rdnssd, tcpdump")
set(CPACK_DEBIAN_LAB_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packaging/debian/lab/postrm")
set(CPACK_DEBIAN_LAB_DESCRIPTION "provider, gateway and hosts in network namespaces
A small internet on one machine: real daemons and real packets around ipv6ctl,
to look at and to try settings in. The machine's own network is not touched.")

include(CPack)
