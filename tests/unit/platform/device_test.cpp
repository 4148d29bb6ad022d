#include "platform/device_test.h"

#include "platform/touched_settings.h"

DeviceTest::DeviceTest()
    : store(memory_store()), shell(shell_recorder()), clock(device_clock()), interfaces(network_interfaces())
{
    store = {};
    shell = {};
    clock = {};
    interfaces = {};
    parm = {};
    reset_private_files();
}

Lines beginning_with(const std::string& start, const Lines& lines)
{
    Lines found;
    for (const std::string& line : lines) {
        if (line.rfind(start, 0) == 0)
            found.push_back(line);
    }
    return found;
}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    remove_private_files();
    write_touched_settings();
    return result;
}
