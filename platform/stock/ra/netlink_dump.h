// Dumps of the kernel's routing tables over rtnetlink.
#pragma once

#include <stdint.h>

#include "advertised_state.h"

// Asks the kernel for a dump of AF_INET6 (`type`: RTM_GETLINK, RTM_GETROUTE or RTM_GETNEIGH) and gives every message of
// the answer to `state`. Returns false when the kernel does not answer; what came before that has been taken.
bool take_dump(uint16_t type, AdvertisedState& state);
