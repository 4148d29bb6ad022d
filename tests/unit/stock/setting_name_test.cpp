#include "setting_name.h"

#include <gtest/gtest.h>

#include <string>

TEST(SettingName, IsSplitAtTheFirstSigns)
{
    SettingName name;
    std::string_view value;
    EXPECT_EQ(parse_setting("key@sect=a=b@c=", name, value), nullptr);
    EXPECT_EQ(name.record(), "key@sect=");
    EXPECT_EQ(name.shown(), "key@sect");
    EXPECT_EQ(value, "a=b@c=");
    EXPECT_EQ(parse_setting("key@sect=", name, value), nullptr);
    EXPECT_EQ(value, "");
}

TEST(SettingName, SaysWhatIsWrongWithALine)
{
    SettingName name;
    std::string_view value;
    EXPECT_STREQ(parse_setting("key@sect", name, value), "there is no '=' before the value");
    EXPECT_STREQ(parse_setting("key=value@sect", name, value), "there is no '@' between key and section");
    EXPECT_STREQ(parse_setting("k@s@t=1", name, value), name_fault);
    EXPECT_STREQ(parse_setting("@s=1", name, value), name_fault);
    EXPECT_STREQ(parse_setting("k@=1", name, value), name_fault);
    EXPECT_STREQ(parse_setting(" k@s=1", name, value), name_fault);
    EXPECT_STREQ(parse_setting("k@s=1\r", name, value), "a value must not contain control characters");
    EXPECT_STREQ(parse_setting(std::string_view("k@s=1\0", 6), name, value),
                 "a value must not contain control characters");
    const std::string too_long = "k@s=" + std::string(1024, 'v');
    EXPECT_STREQ(parse_setting(too_long, name, value), "a value must be at most 1023 bytes");
}

TEST(SettingName, IsEmptyAfterARefusal)
{
    SettingName name;
    EXPECT_TRUE(name.assign("key", "sect"));
    EXPECT_FALSE(name.assign("key", ""));
    EXPECT_EQ(name.record(), "");
    EXPECT_EQ(name.shown(), "");
}
