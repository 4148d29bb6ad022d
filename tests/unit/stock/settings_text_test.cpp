#include "settings_text.h"

#include <gtest/gtest.h>

#include <string>

TEST(SettingsText, FindsEverySettingAndNoOther)
{
    std::string lines;
    for (int i = 100; i < 400; i += 2)
        lines +=
            "k" + std::to_string(i) + "@s=" + std::string(static_cast<size_t>(i % 30), 'v') + std::to_string(i) + "\n";
    ASSERT_TRUE(are_settings(lines));
    for (int i = 99; i < 402; ++i) {
        std::string_view value = "untouched";
        const bool is_there = i >= 100 && i < 400 && i % 2 == 0;
        ASSERT_EQ(find_setting(lines, "k" + std::to_string(i) + "@s=", value), is_there) << i;
        ASSERT_EQ(value, is_there ? std::string(static_cast<size_t>(i % 30), 'v') + std::to_string(i) : "untouched");
    }
    std::string_view value;
    EXPECT_FALSE(find_setting("", "a@b=", value));
    EXPECT_FALSE(find_setting("a@b=1\n", "a@b", value));
}

TEST(SettingsText, TakesOneSettingAfterTheOther)
{
    std::string_view lines = "a@b=\nc@d==x@y\n";
    StoredSetting setting = take_setting(lines);
    EXPECT_EQ(setting.record, "a@b=");
    EXPECT_EQ(setting.value, "");
    setting = take_setting(lines);
    EXPECT_EQ(setting.record, "c@d=");
    EXPECT_EQ(setting.value, "=x@y");
    EXPECT_TRUE(lines.empty());
}

TEST(SettingsText, TheOrderIsThatOfTheRecords)
{
    EXPECT_TRUE(are_settings(""));
    EXPECT_TRUE(are_settings("a@b-c=1\na@b=1\na@ba=1\n")); // as the lines are sorted: '-' < '=' < 'a'
    EXPECT_FALSE(are_settings("a@b=1\na@b-c=1\n"));
    EXPECT_FALSE(are_settings("a@b=1\na@b=2\n"));
    EXPECT_FALSE(are_settings("a@b=1"));
    EXPECT_FALSE(are_settings("\n"));
}
