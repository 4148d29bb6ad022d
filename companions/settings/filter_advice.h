// The user's list of open services, looked at with the same eyes as the program's.
#pragma once

#include "findings.h"
#include "setting_lines.h"

void advise_filter(const SettingLines& settings, Findings& findings);
