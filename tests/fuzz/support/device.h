// A device for one run of a target: the unit tests' device, fresh, and what must hold after the program has run on it.
#pragma once

#include <string>

#include "params/param_record.h"
#include "platform/device_clock.h"
#include "platform/memory_store.h"
#include "platform/network_interfaces.h"
#include "platform/private_files.h"
#include "platform/shell_recorder.h"
#include "support/finding.h"
#include "support/system_calls.h"
#include "support/target.h"

// The WAN interface and its section, as an ordinary device has them.
inline constexpr char wan[] = "ppp0";
inline constexpr char wan_section[] = "wan100";

// Empties the device, then gives it two bridges, a WAN interface and the answers of its own scripts.
void start_device();

// Puts a setting into the store as far as the store takes it: control characters are left out, it is cut to 1023 bytes.
void set_setting(const std::string& name, const std::string& value);

// What a text from outside can be: everything up to the first NUL.
std::string as_text(const std::string& bytes);

// Lets the device's if2sect.sh answer for the interface `ifname`.
void set_section_of(const std::string& ifname, const std::string& section);

// Runs `work` as the program, then checks that every line that was run came out of the composer and that every file
// written holds its template.
template <class Work>
void run_program(Work work)
{
    void check_after_run();
    {
        const ProgramRuns runs;
        work();
    }
    check_after_run();
}
