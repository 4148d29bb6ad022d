#include "support/device.h"

#include <gtest/gtest.h>

#include "frame/shell.h"
#include "support/composed_lines.h"
#include "support/written_files.h"

namespace {

constexpr char digest_line[] = "0123456789abcdef0123456789abcdef01234567  /tmp/sha.txt\n";

void prepare_process()
{
    static bool done = false;
    if (done)
        return;
    done = true;
    // A failed check of the unit tests' device is a finding too.
    GTEST_FLAG_SET(break_on_failure, true);
    private_path("/tmp/"); // so that the folder's name outlives its removal
    std::atexit(remove_private_files);
}

} // namespace

void start_device()
{
    prepare_process();
    memory_store() = {};
    shell_recorder() = {};
    device_clock() = {};
    network_interfaces() = {};
    parm = {};
    composed_lines().clear();
    reset_private_files();

    auto& interfaces = network_interfaces().by_name;
    interfaces["br-lan"] = {3, "192.0.2.1", {0x02, 0, 0x5e, 0x10, 0, 1}};
    interfaces["br-lan1"] = {4, "192.0.2.129", {0x02, 0, 0x5e, 0x10, 0, 2}};
    interfaces[wan] = {5, "198.51.100.7", {0x02, 0, 0x5e, 0x10, 0, 3}};

    auto& shell = shell_recorder();
    shell.output["wandataif.sh"] = std::string(wan) + "\n";
    set_section_of(wan, wan_section);
    shell.output["uboot_env --get --name serial"] = "SN12345678\n";
    shell.output["uboot_env --get --name hw_version"] = "HW1\n";
    shell.output["sum /etc/config/.glbcfg"] = "12345 1\n";
    shell.output[std::string("cat /proc/sys/net/ipv6/conf/") + wan + "/router_solicitations"] = "3\n";
    shell.effect["sha1sum /tmp/sha.txt > /tmp/ula.txt"] = [] { write_file("/tmp/ula.txt", digest_line); };
    write_file("/tmp/resolv.conf.auto", "nameserver 192.0.2.53\n");
}

void set_setting(const std::string& name, const std::string& value)
{
    std::string accepted;
    for (const char c : value) {
        if (static_cast<unsigned char>(c) >= 0x20 && c != 0x7f && accepted.size() < 1023)
            accepted += c;
    }
    memory_store().settings[name] = accepted;
}

std::string as_text(const std::string& bytes)
{
    return bytes.substr(0, bytes.find('\0'));
}

void set_section_of(const std::string& ifname, const std::string& section)
{
    const ShellLine line("if2sect.sh %s", ifname.c_str());
    shell_recorder().output[line.c_str()] = section;
}

void check_after_run()
{
    for (const std::string& line : shell_recorder().lines) {
        if (composed_lines().count(line) == 0)
            finding("a shell line past the composer: " + line);
        for (const char c : line) {
            if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
                finding("a control character in a shell line: " + line);
        }
    }
    check_written_files();
}
