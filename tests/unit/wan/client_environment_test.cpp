#include "wan/client_environment.h"

#include "platform/device_test.h"

#include <cstdlib>

namespace {

class ClientEnvironmentTest : public DeviceTest {
protected:
    ~ClientEnvironmentTest() override
    {
        for (const char* const variable : {"reason", "interface", "stateless", "new_ip6_address"})
            unsetenv(variable);
    }
};

} // namespace

TEST_F(ClientEnvironmentTest, takes_a_variable_as_it_is)
{
    setenv("new_ip6_address", "2001:db8::1", 1);
    const ClientValue value("new_ip6_address");
    EXPECT_TRUE(value.given());
    EXPECT_STREQ(value.text(), "2001:db8::1");
    EXPECT_TRUE(value.equals("2001:db8::1"));
    EXPECT_FALSE(value.equals("2001:db8::"));
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_F(ClientEnvironmentTest, knows_an_absent_variable_from_an_empty_one)
{
    const ClientValue absent("new_ip6_address");
    EXPECT_FALSE(absent.given());
    EXPECT_STREQ(absent.text(), "");
    EXPECT_FALSE(absent.equals(""));
    setenv("new_ip6_address", "", 1);
    const ClientValue empty("new_ip6_address");
    EXPECT_TRUE(empty.given());
    EXPECT_STREQ(empty.text(), "");
    EXPECT_TRUE(empty.equals(""));
}

TEST_F(ClientEnvironmentTest, takes_a_value_with_a_control_character_as_absent)
{
    for (const char* const value : {"a\nb", "\t", "a\x7f", "\x1b[1m"}) {
        setenv("new_ip6_address", value, 1);
        EXPECT_FALSE(ClientValue("new_ip6_address").given());
        EXPECT_EQ(log_lines().back(),
                  "[dhcp6c_main][1234] new_ip6_address holds a control character and counts as absent.");
    }
}

TEST_F(ClientEnvironmentTest, reads_the_variables_of_an_event)
{
    setenv("reason", "BOUND6", 1);
    setenv("interface", "ppp0", 1);
    setenv("stateless", "1", 1);
    const ClientEvent event;
    EXPECT_STREQ(event.reason.text(), "BOUND6");
    EXPECT_STREQ(event.interface.text(), "ppp0");
    EXPECT_STREQ(event.stateless.text(), "1");
}

TEST_F(ClientEnvironmentTest, is_stateful_unless_told_otherwise)
{
    EXPECT_TRUE(ClientEvent().is_stateful());
    setenv("stateless", "0", 1);
    EXPECT_TRUE(ClientEvent().is_stateful());
    for (const char* const other : {"1", "2", "", "00"}) {
        setenv("stateless", other, 1);
        EXPECT_FALSE(ClientEvent().is_stateful()) << other;
    }
}
