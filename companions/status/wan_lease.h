// The rows of the WAN that go by the DHCPv6 client's lease.
#pragma once

#include "look.h"
#include "processes.h"
#include "report.h"

// Adds what is `left`, in seconds, of a lifetime.
void report_life(Report& report, const Look& look, const char* name, long long left, bool is_for_ever);

// The DHCPv6 client when it has just been started, so that its lease, and what the program makes of that for WAN and
// LANs, may still come; otherwise no process.
Process starting_client(const Look& look);

// The command that has the DHCPv6 client ask its provider anew, or starts the WAN when no client runs.
const char* ask_anew(const Look& look);

// Adds the delegated prefix with its lifetimes, and a client that has no lease.
void report_delegation(Report& report, const Look& look);
