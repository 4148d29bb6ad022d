// The parts of the report, in the order in which they are shown. Each only looks.
#pragma once

#include "look.h"
#include "report.h"

void report_system(Report& report, const Look& look); // store, ready flags, guard file
void report_wan(Report& report, const Look& look);
void report_daemons(Report& report);
void report_lan(Report& report, const Look& look, const char* ifname, const char* section);
void report_firewall(Report& report, const Look& look);
void report_routes(Report& report, const Look& look);
void report_neighbors(Report& report, const Look& look);
