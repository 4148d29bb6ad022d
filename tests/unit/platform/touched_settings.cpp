#include "platform/touched_settings.h"

#include <cstdlib>
#include <iostream>
#include <set>
#include <sstream>

static std::set<std::string>& touched()
{
    static std::set<std::string> names;
    return names;
}

void note_setting(const std::string& name)
{
    touched().insert(name);
}

void note_settings_of_line(const std::string& line)
{
    std::istringstream words(line);
    std::string program;
    std::string verb;
    std::string setting;
    words >> program >> verb >> setting;
    if (program == "ccfg_cli")
        note_setting(setting.substr(0, setting.find('=')));
}

void write_touched_settings()
{
    if (std::getenv("IPV6CTL_TOUCHED_SETTINGS") == nullptr)
        return;
    for (const std::string& name : touched())
        std::cout << "touched " << name << '\n';
}
