// The parts of the report, in the order in which they are shown. Each only looks.
#pragma once

#include "look.h"
#include "report.h"

inline constexpr const char* section_names[] = {"system", "wan",      "daemons",       "lan0",
                                                "lan1",   "firewall", "static_routes", "neighbors"};

void report_system(Report& report, const Look& look); // what is at work, store, ready flags, guard file
void report_wan(Report& report, const Look& look);
void report_daemons(Report& report, const Look& look);
void report_lan(Report& report, const Look& look, const char* ifname, const char* section);
void report_firewall(Report& report, const Look& look);
void report_routes(Report& report, const Look& look);
void report_neighbors(Report& report, const Look& look);
