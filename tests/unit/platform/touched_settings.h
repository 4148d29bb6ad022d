// Which settings the tests made the program touch. With IPV6CTL_TOUCHED_SETTINGS in the environment a run writes them
// at its end, one KEY@SECTION a line, so that the table of settings can be held against the code.
#pragma once

#include <string>

void note_setting(const std::string& name);

// Takes the settings out of a shell line that calls ccfg_cli.
void note_settings_of_line(const std::string& line);

void write_touched_settings();
