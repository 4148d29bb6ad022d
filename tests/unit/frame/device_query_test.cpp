#include "frame/device_query.h"

#include "platform/device_test.h"

namespace {

class DeviceQueryTest : public DeviceTest {
protected:
    DeviceQueryTest()
    {
        interfaces.by_name["br-lan"] = {.index = 2, .ip4 = "192.0.2.1", .mac = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E}};
        interfaces.by_name["abcdefghijklmno"] = {.index = 9, .ip4 = "192.0.2.9", .mac = {1, 2, 3, 4, 5, 6}};
    }
};

struct Query {
    int (*ask)(char* answer, int size);
    const char* line;
    const char* log;
};

const Query queries[] = {
    {get_wan_ifname, "wandataif.sh", "[get_wan_ifname][1234] wandataif is [answer]"},
    {[](char* answer, int size) { return get_wan_sect("ppp0", answer, size); }, "if2sect.sh ppp0",
     "[get_wan_sect][1234] wan_sect is [answer]"},
    {get_serial_number, "uboot_env --get --name serial", "[get_serial_number][1234] SerialNumber is answer"},
    {get_product_class, "uboot_env --get --name hw_version", "[get_product_class][1234] ProductClass is answer"},
};

} // namespace

TEST_F(DeviceQueryTest, trims_and_logs_the_answer_of_a_command)
{
    for (const Query& query : queries) {
        shell.output[query.line] = " \t answer \r\n";
        char answer[32] = "before";
        EXPECT_EQ(query.ask(answer, sizeof answer), 1);
        EXPECT_STREQ(answer, "answer");
        EXPECT_EQ(shell.lines.back(), query.line);
        EXPECT_EQ(log_lines().back(), query.log);
    }
}

TEST_F(DeviceQueryTest, fails_when_the_command_cannot_be_run)
{
    for (const Query& query : queries) {
        shell.status[query.line] = -1;
        char answer[32] = "before";
        EXPECT_EQ(query.ask(answer, sizeof answer), -1);
        EXPECT_STREQ(answer, "before");
        const std::string log = query.log;
        EXPECT_EQ(log_lines().back(), log.substr(0, log.find("] ") + 2) + "osSystem_GetOutput fail.");
    }
}

TEST_F(DeviceQueryTest, cuts_an_answer_to_its_room)
{
    shell.output["wandataif.sh"] = "0123456789";
    char answer[8] = {};
    EXPECT_EQ(get_wan_ifname(answer, 6), 1);
    EXPECT_STREQ(answer, "01234");
    shell.output["uboot_env --get --name serial"] = std::string(80, 's');
    char serial[64] = {};
    EXPECT_EQ(get_serial_number(serial, sizeof serial), 1);
    EXPECT_EQ(std::string(serial), std::string(63, 's'));
}

TEST_F(DeviceQueryTest, takes_an_empty_answer)
{
    char answer[8] = "before";
    EXPECT_EQ(get_wan_ifname(answer, sizeof answer), 1);
    EXPECT_STREQ(answer, "");
}

TEST_F(DeviceQueryTest, keeps_the_value_when_an_answer_holds_a_control_character)
{
    shell.output["wandataif.sh"] = "ppp0\nppp1\n";
    char answer[16] = "before";
    EXPECT_EQ(get_wan_ifname(answer, sizeof answer), 1);
    EXPECT_STREQ(answer, "before");
}

TEST_F(DeviceQueryTest, asks_for_a_hostile_interface_as_one_word)
{
    char answer[16] = {};
    EXPECT_EQ(get_wan_sect("ppp0;reboot", answer, sizeof answer), 1);
    EXPECT_EQ(shell.lines, Lines{"if2sect.sh 'ppp0;reboot'"});
}

TEST_F(DeviceQueryTest, gets_the_ipv4_address_of_an_interface)
{
    char address[16] = {};
    EXPECT_EQ(get_ip4_addr("br-lan", address), 1);
    EXPECT_STREQ(address, "192.0.2.1");
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_F(DeviceQueryTest, says_why_there_is_no_ipv4_address)
{
    char address[16] = "before";
    EXPECT_EQ(get_ip4_addr(nullptr, address), -1);
    EXPECT_EQ(get_ip4_addr("br-lan", nullptr), -1);
    EXPECT_EQ(get_ip4_addr("eth9", address), -1);
    interfaces.refuses_sockets = true;
    EXPECT_EQ(get_ip4_addr("br-lan", address), -1);
    EXPECT_STREQ(address, "before");
    EXPECT_EQ(log_lines(),
              (Lines{"[get_ip4_addr][1234] parameters error.", "[get_ip4_addr][1234] parameters error.",
                     "[get_ip4_addr][1234] ioctl SIOCGIFADDR error.", "[get_ip4_addr][1234] socket error."}));
}

TEST_F(DeviceQueryTest, gets_the_mac_of_an_interface)
{
    char mac[18] = {};
    EXPECT_EQ(get_mac_addr("br-lan", mac), 1);
    EXPECT_STREQ(mac, "00:1a:2b:3c:4d:5e");
    EXPECT_EQ(log_lines(), Lines{"[get_mac_addr][1234] br-lan macaddr is [00:1a:2b:3c:4d:5e]"});
}

TEST_F(DeviceQueryTest, keeps_the_mac_when_it_cannot_be_had)
{
    char mac[18] = "before";
    EXPECT_EQ(get_mac_addr("eth9", mac), -1);
    EXPECT_STREQ(mac, "before");
    EXPECT_EQ(log_lines(), Lines{"[get_mac_addr][1234] SIOCGIFHWADDR ioctl error."});
}

TEST_F(DeviceQueryTest, cuts_interface_names_to_15_characters)
{
    char mac[18] = {};
    EXPECT_EQ(get_mac_addr("abcdefghijklmnopqrst", mac), 1);
    EXPECT_STREQ(mac, "01:02:03:04:05:06");
    char address[16] = {};
    EXPECT_EQ(get_ip4_addr("abcdefghijklmnopqrst", address), 1);
    EXPECT_STREQ(address, "192.0.2.9");
}
