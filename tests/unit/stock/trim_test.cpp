#include <gtest/gtest.h>

#include <string>

#include "platform/common_library.h"

namespace {

std::string trimmed(const char* text, const char* chars)
{
    char buffer[64] = {};
    std::string(text).copy(buffer, sizeof buffer - 1);
    utilStrTrimChar(buffer, chars);
    return buffer;
}

} // namespace

TEST(Trim, RemovesTheCharactersFromBothEndsOnly)
{
    EXPECT_EQ(trimmed(" \t\r\n a b \r\n", " \t\r\n"), "a b");
    EXPECT_EQ(trimmed("plain", " \t\r\n"), "plain");
    EXPECT_EQ(trimmed("xxaxbxx", "x"), "axb");
    EXPECT_EQ(trimmed("\"quoted\"", "\""), "quoted");
    EXPECT_EQ(trimmed("abcba", "ab"), "c");
}

TEST(Trim, LeavesNothingOfATextOfSuchCharactersAlone)
{
    EXPECT_EQ(trimmed("   ", " "), "");
    EXPECT_EQ(trimmed("", " "), "");
    EXPECT_EQ(trimmed("\n", "\r\n"), "");
}

TEST(Trim, WithoutCharactersChangesNothing)
{
    EXPECT_EQ(trimmed(" a ", ""), " a ");
    EXPECT_EQ(trimmed(" a ", nullptr), " a ");
    utilStrTrimChar(nullptr, " ");
}

TEST(Trim, TreatsEveryByteAlike)
{
    EXPECT_EQ(trimmed("\xff\xe9text\xff", "\xff\xe9"), "text");
}
