// Router-advertisement records: what the kernel knows of each interface's advertising router.
//
// One line per IPv6 address of every interface; blanks between the columns, hexadecimal without a prefix:
//   address (32 digits)  interface index (2)  prefix length (2)  scope (2)  address flags (2)
//   solicitations sent (2)  interface flags (8)  interface name  router (32 digits)
// Interface flags: 0x20 advertisement received, 0x40 its Managed flag, 0x80 its Other flag (RFC 4861, section 4.2).
// Address flag 0x08: duplicate address detection failed (linux/if_addr.h, IFA_F_DADFAILED).
#pragma once

#include <stdio.h>

#if defined(IPV6CTL_PLATFORM_DEVICE)

// Opens the records that the device's kernel keeps; null when it has none. The caller closes the stream.
inline FILE* open_ra_records(void)
{
    return fopen("/proc/net/if_flags6", "re");
}

#else

// Opens the records: /proc/net/if_flags6 where the kernel has it, otherwise the same lines made from what an
// ordinary kernel tells. Null when neither can be had. The caller closes the stream.
extern "C" FILE* open_ra_records(void);

#endif
