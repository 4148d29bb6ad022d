// Loading of the parameter record from the configuration store.
#pragma once

// Fills the whole record inside the open transaction `tid`: LAN0, LAN1, WAN and system values, values derived from the
// bridges' MACs. Repairs subnet ids, follows the switch between a manual and an automatic unique-local global id, and
// stores the host identifiers that it derived. Logs every value that it loads. Returns 1.
int prepare_parm(int tid);

// Fills the LAN1 group; called by prepare_parm.
void prepare_parm_lan1(int tid);
