#include "frame/text.h"

#include <gtest/gtest.h>
#include <string>
#include <type_traits>

TEST(TextTest, starts_empty_and_uncut)
{
    const Text<8> text;
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(text.length(), 0U);
    EXPECT_FALSE(text.was_cut());
}

TEST(TextTest, keeps_what_fits_to_the_last_byte)
{
    Text<4> text;
    text = "abc";
    EXPECT_STREQ(text, "abc");
    EXPECT_FALSE(text.was_cut());
}

TEST(TextTest, cuts_what_does_not_fit_and_knows_it)
{
    Text<4> text;
    text = "abcd";
    EXPECT_STREQ(text, "abc");
    EXPECT_TRUE(text.was_cut());
}

TEST(TextTest, cuts_at_every_length_around_its_capacity)
{
    for (std::size_t length = 0; length < 40; ++length) {
        const std::string from(length, 'x');
        Text<16> text;
        text = from.c_str();
        EXPECT_EQ(std::string(text), from.substr(0, 15)) << length;
        EXPECT_EQ(text.was_cut(), length > 15) << length;
    }
}

TEST(TextTest, forgets_a_cut_with_the_next_assignment)
{
    Text<4> text;
    text = "abcdef";
    text = "ab";
    EXPECT_FALSE(text.was_cut());
    text = "abcdef";
    text.clear();
    EXPECT_TRUE(text.empty());
    EXPECT_FALSE(text.was_cut());
}

TEST(TextTest, assigns_part_of_a_text)
{
    Text<8> text;
    text.assign("2001:db8::/32", 4);
    EXPECT_STREQ(text, "2001");
    text.assign("anything", 0);
    EXPECT_STREQ(text, "");
}

TEST(TextTest, assigns_part_of_itself)
{
    Text<16> text;
    text = "0123456789";
    text = text.c_str() + 3;
    EXPECT_STREQ(text, "3456789");
}

TEST(TextTest, appends_up_to_its_capacity)
{
    Text<6> text;
    text.append("ab");
    text.append("cde");
    EXPECT_STREQ(text, "abcde");
    EXPECT_FALSE(text.was_cut());
    text.append("");
    EXPECT_FALSE(text.was_cut());
    text.append("f");
    EXPECT_STREQ(text, "abcde");
    EXPECT_TRUE(text.was_cut());
}

TEST(TextTest, stays_cut_however_little_is_appended_after)
{
    Text<4> text;
    text.append("abcdef");
    text.append("");
    EXPECT_TRUE(text.was_cut());
}

TEST(TextTest, appends_itself)
{
    Text<8> text;
    text = "abc";
    text.append(text);
    EXPECT_STREQ(text, "abcabc");
}

TEST(TextTest, prints_and_knows_whether_it_was_cut)
{
    Text<8> text;
    text.print("%s/%d", "abcd", 64);
    EXPECT_STREQ(text, "abcd/64");
    EXPECT_FALSE(text.was_cut());
    text.print("%s/%d", "abcde", 64);
    EXPECT_STREQ(text, "abcde/6");
    EXPECT_TRUE(text.was_cut());
    text.print("x");
    EXPECT_FALSE(text.was_cut());
}

TEST(TextTest, prints_every_kind_of_value)
{
    Text<4> word;
    word = "abc";
    Text<64> text;
    text.print("%s %s %d %u %x %02X %04x %ld %4s|%%", "literal", word, -1, 4000000000U, 255U, 10U, 0xABU, -5L, word);
    EXPECT_STREQ(text, "literal abc -1 4000000000 ff 0A 00ab -5  abc|%");
}

TEST(TextTest, copies_with_the_knowledge_of_its_cut)
{
    Text<4> text;
    text = "abcdef";
    const Text<4> copy = text; // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_STREQ(copy, "abc");
    EXPECT_TRUE(copy.was_cut());
}

TEST(TextTest, compares_whole_texts)
{
    Text<8> text;
    text = "br-lan";
    EXPECT_TRUE(text.equals("br-lan"));
    EXPECT_FALSE(text.equals("br-lan1"));
    EXPECT_FALSE(text.equals("br-la"));
}

TEST(TextTest, takes_initial_values_only_when_they_fit)
{
    const Text<7> name{"br-lan"};
    EXPECT_STREQ(name, "br-lan");
    EXPECT_FALSE((std::is_convertible_v<const char[7], Text<7>>));
}
