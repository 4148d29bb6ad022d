#include "addr/generate_addr.h"

#include "platform/device_test.h"

#include <cstdlib>

namespace {

constexpr char checksum_line[] = "sum /etc/config/.glbcfg";
constexpr Ip6Octets sample = {0x20, 0x01, 0x0D, 0xB8, 0x12, 0x34, 0x56, 0x00};
constexpr Ip6Octets dense = {0x3F, 0xFF, 0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0x96,
                             0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};

class GenerateAddrTest : public DeviceTest {
protected:
    GenerateAddrTest()
    {
        shell.output[checksum_line] = "54321     1\n";
        parm.lan_ip6_gua_sid = "01";
        parm.lan1_ip6_gua_sid = "02";
    }

    static std::string prefix(const Ip6Octets& delegated, int length, int is_lan1 = 0)
    {
        return generate_addr(&delegated, length, "prefix", "", is_lan1);
    }

    static std::string address(const Ip6Octets& octets, int length, int is_lan1 = 0)
    {
        return generate_addr(&octets, length, "addr", "", is_lan1);
    }
};

// Eight groups of the octets in upper case; one of them may be wider than an octet.
std::string groups(const Ip6Octets& octets, unsigned octet7)
{
    std::string text;
    for (std::size_t i = 0; i < 16; ++i) {
        char digits[16];
        std::snprintf(digits, sizeof digits, "%02X", i == 7 ? octet7 : static_cast<unsigned>(octets[i]));
        text += (i != 0 && i % 2 == 0 ? ":" : "") + std::string(digits);
    }
    return text;
}

// The bits of a subnet id that a delegation of `length` leaves to the gateway, one by one. Up to /56 all of them, of a
// negative id those of its last octet.
unsigned allowed_bits(int sid, int length)
{
    if (length <= 56)
        return sid < 0 ? static_cast<unsigned>(sid) % 256U : static_cast<unsigned>(sid);
    unsigned kept = 0;
    for (int bit = length; bit < 64; ++bit)
        kept |= static_cast<unsigned>(sid) & (1U << (63 - bit));
    return kept;
}

} // namespace

TEST_F(GenerateAddrTest, carves_one_prefix_per_lan_out_of_a_56)
{
    EXPECT_EQ(prefix(sample, 56, 0), "2001:0DB8:1234:5601:0000:0000:0000:0000");
    EXPECT_EQ(prefix(sample, 56, 1), "2001:0DB8:1234:5602:0000:0000:0000:0000");
    EXPECT_EQ(prefix(sample, 56, -5), "2001:0DB8:1234:5602:0000:0000:0000:0000");
    EXPECT_STREQ(parm.routing_prefix, "2001:0DB8:1234:56");
    EXPECT_EQ(shell.lines, (Lines{checksum_line, checksum_line, checksum_line}));
}

TEST_F(GenerateAddrTest, logs_the_prefix_and_the_routing_prefix)
{
    prefix(sample, 60);
    EXPECT_EQ(log_lines(), (Lines{"[generate_addr][1234] generate_addr: 2001:0DB8:1234:5601:0000:0000:0000:0000",
                                  "[generate_addr][1234] routing_prefix: 2001:0DB8:1234:56/60"}));
}

TEST_F(GenerateAddrTest, carves_a_prefix_for_every_delegated_length_and_subnet_id)
{
    for (const char* const sid : {"0", "00", "01", "02", "10", "77", "99", "0A", "ff", "127", "255", "300", "-1"}) {
        parm.lan_ip6_gua_sid = sid;
        for (const Ip6Octets& delegated : {sample, dense}) {
            for (int length = 0; length <= 128; ++length) {
                parm.routing_prefix = "before";
                const std::string generated = prefix(delegated, length);
                if (length >= 65) {
                    EXPECT_EQ(generated, "") << sid << " " << length;
                    EXPECT_STREQ(parm.routing_prefix, "before");
                    continue;
                }
                const unsigned octet7 = delegated[7] | allowed_bits(std::atoi(sid), length);
                EXPECT_EQ(generated, groups(delegated, octet7).substr(0, 45)) << sid << " " << length;
                EXPECT_EQ(std::string(parm.routing_prefix), groups(delegated, 0).substr(0, 17));
            }
        }
    }
}

TEST_F(GenerateAddrTest, reads_the_subnet_id_as_a_decimal_number)
{
    parm.lan_ip6_gua_sid = "10";
    EXPECT_EQ(prefix(sample, 56), "2001:0DB8:1234:560A:0000:0000:0000:0000");
    parm.lan_ip6_gua_sid = "0A";
    EXPECT_EQ(prefix(sample, 56), "2001:0DB8:1234:5600:0000:0000:0000:0000");
}

TEST_F(GenerateAddrTest, gives_both_lans_the_same_prefix_of_a_64)
{
    EXPECT_EQ(prefix(sample, 64, 0), "2001:0DB8:1234:5600:0000:0000:0000:0000");
    EXPECT_EQ(prefix(sample, 64, 1), "2001:0DB8:1234:5600:0000:0000:0000:0000");
}

TEST_F(GenerateAddrTest, stays_within_the_octet_for_every_id_of_two_characters)
{
    for (int first = ' '; first < 0x7f; ++first) {
        for (int second = ' '; second < 0x7f; ++second) {
            const char sid[] = {static_cast<char>(first), static_cast<char>(second), '\0'};
            parm.lan_ip6_gua_sid = sid;
            for (const int length : {0, 48, 56, 60, 64})
                ASSERT_EQ(prefix(dense, length).size(), 39U) << sid << " " << length;
        }
    }
    parm.lan_ip6_gua_sid = "-1";
    EXPECT_EQ(prefix(sample, 56), "2001:0DB8:1234:56FF:0000:0000:0000:0000");
    EXPECT_EQ(prefix(sample, 60), "2001:0DB8:1234:560F:0000:0000:0000:0000");
}

TEST_F(GenerateAddrTest, lets_a_large_subnet_id_widen_its_group)
{
    parm.lan_ip6_gua_sid = "300";
    EXPECT_EQ(prefix(sample, 48), "2001:0DB8:1234:5612C:0000:0000:0000:0000");
}

TEST_F(GenerateAddrTest, takes_the_checksum_of_the_settings_without_a_subnet_id)
{
    parm.lan_ip6_gua_sid = "";
    for (int length = 0; length <= 64; ++length) {
        parm.routing_prefix = "before";
        EXPECT_EQ(prefix(dense, length), groups(dense, 54321 % 256)) << length;
        EXPECT_STREQ(parm.routing_prefix, "before");
    }
    EXPECT_EQ(log_lines().back(), "[generate_addr][1234] ko2_addr: " + groups(dense, 54321 % 256));
    EXPECT_EQ(prefix(dense, 65), "");
}

TEST_F(GenerateAddrTest, takes_the_first_number_of_the_checksum)
{
    parm.lan_ip6_gua_sid = "";
    shell.output[checksum_line] = " \t\r\n00255 7\n";
    EXPECT_EQ(prefix(sample, 56), groups(sample, 255));
    shell.output[checksum_line] = "256 7\n";
    EXPECT_EQ(prefix(sample, 56), groups(sample, 0));
    shell.output[checksum_line] = "";
    EXPECT_EQ(prefix(sample, 56), groups(sample, 0));
}

TEST_F(GenerateAddrTest, generates_no_prefix_when_the_checksum_cannot_be_had)
{
    shell.status[checksum_line] = -1;
    for (const char* const sid : {"01", ""}) {
        parm.lan_ip6_gua_sid = sid;
        EXPECT_EQ(prefix(sample, 56), "");
        EXPECT_EQ(log_lines().back(), "[generate_addr][1234] osSystem_GetOutput fail.");
    }
    EXPECT_STREQ(parm.routing_prefix, "");
}

TEST_F(GenerateAddrTest, asks_for_no_checksum_when_the_delegation_is_too_long)
{
    EXPECT_EQ(prefix(sample, 65), "");
    EXPECT_EQ(shell.lines, Lines{});
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_F(GenerateAddrTest, makes_a_host_address_for_every_length)
{
    parm.lan_ip6_gua_hostid = "0211:22FF:FE33:4455";
    parm.lan1_ip6_gua_hostid = "0:0:0:7";
    for (int length = 0; length <= 128; ++length) {
        const std::string long_form = groups(dense, dense[7]);
        const std::string last_is_01 = long_form.substr(0, long_form.size() - 2) + "01";
        const std::string four = long_form.substr(0, 19);
        EXPECT_EQ(address(dense, length, 0), length >= 65 ? last_is_01 : four + ":0211:22FF:FE33:4455") << length;
        EXPECT_EQ(address(dense, length, 1), length >= 65 ? last_is_01 : four + ":0:0:0:7") << length;
    }
    EXPECT_EQ(shell.lines, Lines{});
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_F(GenerateAddrTest, ends_in_a_colon_without_a_host_id)
{
    EXPECT_EQ(generate_addr(&sample, 64, "addr", "00:11:22:33:44:55", 0), std::string("2001:0DB8:1234:5600:"));
}

TEST_F(GenerateAddrTest, cuts_an_address_to_45_characters)
{
    parm.lan_ip6_gua_hostid = std::string(45, 'h').c_str();
    EXPECT_EQ(address(sample, 64), "2001:0DB8:1234:5600:" + std::string(25, 'h'));
}

TEST_F(GenerateAddrTest, takes_a_global_id_from_the_end_of_the_digest)
{
    clock.now = 0x5FEE6600;
    shell.effect["sha1sum /tmp/sha.txt > /tmp/ula.txt"] = [] {
        EXPECT_EQ(read_file("/tmp/sha.txt"), "000000005FEE6600021122FFFE334455");
        write_file("/tmp/ula.txt", "0123456789abcdef0123456789abcd3e41a209bc  /tmp/sha.txt\n");
    };
    EXPECT_EQ(generate_addr(nullptr, 0, "ula_gid", "00:11:22:33:44:55", 1), std::string("3e:41a2:09bc"));
    EXPECT_EQ(shell.lines, Lines{"sha1sum /tmp/sha.txt > /tmp/ula.txt"});
    EXPECT_EQ(log_lines(), (Lines{"[generate_addr][1234] time = [1609459200l], [000000005FEE6600021122FFFE334455]",
                                  "[zel_system][1234] [0]sha1sum /tmp/sha.txt > /tmp/ula.txt"}));
}

TEST_F(GenerateAddrTest, takes_the_time_modulo_32_bits)
{
    clock.now = 0x123456789;
    generate_addr(nullptr, 0, "ula_gid", "", 0);
    EXPECT_EQ(read_file("/tmp/sha.txt"), "0000000023456789020000FFFE000000");
}

TEST_F(GenerateAddrTest, goes_on_when_the_digest_command_fails)
{
    shell.status["sha1sum /tmp/sha.txt > /tmp/ula.txt"] = 127;
    write_file("/tmp/ula.txt", "0000000000000000000000000000001234567890  -\n");
    EXPECT_EQ(generate_addr(nullptr, 0, "ula_gid", "00:11:22:33:44:55", 0), std::string("12:3456:7890"));
    EXPECT_EQ(log_lines().back(), "[generate_addr][1234] system command not executed properly!");
}

TEST_F(GenerateAddrTest, generates_no_global_id_without_a_digest)
{
    EXPECT_EQ(generate_addr(nullptr, 0, "ula_gid", "", 0), std::string());
    write_file("/tmp/ula.txt", "0123456789abcdef0123456789abcd3e41a209b");
    EXPECT_EQ(generate_addr(nullptr, 0, "ula_gid", "", 0), std::string());
}

TEST_F(GenerateAddrTest, takes_a_digest_that_ends_with_the_file)
{
    write_file("/tmp/ula.txt", "0123456789abcdef0123456789abcd3e41a209bc");
    EXPECT_EQ(generate_addr(nullptr, 0, "ula_gid", "", 0), std::string("3e:41a2:09bc"));
}

TEST_F(GenerateAddrTest, looks_at_three_letters_of_the_mode)
{
    EXPECT_EQ(generate_addr(&sample, 56, "pre", "", 0), prefix(sample, 56));
    EXPECT_EQ(generate_addr(&sample, 56, "pretext", "", 0), prefix(sample, 56));
    EXPECT_EQ(generate_addr(&dense, 80, "add", "", 0), address(dense, 80));
    write_file("/tmp/ula.txt", "0123456789abcdef0123456789abcd3e41a209bc\n");
    EXPECT_EQ(generate_addr(nullptr, 0, "ula", "", 0), std::string("3e:41a2:09bc"));
}

TEST_F(GenerateAddrTest, generates_nothing_for_another_mode)
{
    prefix(sample, 56);
    const Lines before = log_lines();
    for (const char* const mode : {"", "pr", "PREFIX", "ul", "x"})
        EXPECT_EQ(generate_addr(&sample, 56, mode, "", 0), std::string()) << mode;
    EXPECT_EQ(log_lines(), before);
}
