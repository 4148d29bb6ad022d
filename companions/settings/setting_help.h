// `ccfg_cli help`: what keys are for.
#pragma once

#include <string_view>

#include "frame/text.h"

// The settings in force, as far as they can be had.
struct SettingsInForce {
    std::string_view lines;
    const char* fault; // why the store cannot be read, for a person; null when it can, or when there is none yet
};

// Writes what is known of a key, given as "key" or "key@section", with its value in force; or the keys of a section,
// given as "section" or "@section". Returns false when it is neither: what it may have meant is told then.
bool help_setting(std::string_view name, const SettingsInForce& in_force);

// Writes every key with its sections and what it is for, a line each: "KEY SECTION[,SECTION] MEANING".
void list_known_settings(const SettingsInForce& in_force);

// The names of a known key in its sections, "or" between them: "key@lan0 or key@lan1". Empty when there is no such key.
Text<256> full_names(std::string_view key, const SettingsInForce& in_force);
