// What the program takes as it is, but daemons refuse or hosts suffer from.
#pragma once

#include "findings.h"
#include "setting_lines.h"

void advise(const SettingLines& settings, Findings& findings);
