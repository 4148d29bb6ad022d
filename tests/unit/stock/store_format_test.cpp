#include "store_format.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

std::string store_of(const std::string& lines)
{
    std::string bytes(store_head_size, ' ');
    write_store_head(lines, bytes.data());
    return bytes + lines;
}

constexpr char lines[] = "ip6_addr@lan0=2001:db8::1\nip6_proto@wan100=dhcp\n";

} // namespace

TEST(StoreFormat, TheFileIsTheSameOnEveryCpu)
{
    EXPECT_EQ(store_of(""), "#ccfg 1 00000000 0000000000000000\n");
    EXPECT_EQ(store_of("a@b=1\nb@b=2\n"), "#ccfg 1 0000000c f3eb67fe4b40607a\na@b=1\nb@b=2\n");
}

TEST(StoreFormat, GivesTheSettings)
{
    const std::string file = store_of(lines);
    std::string_view settings;
    EXPECT_TRUE(settings_of_store(file, settings));
    EXPECT_EQ(settings, lines);
    EXPECT_TRUE(settings_of_store(store_of(""), settings));
    EXPECT_EQ(settings, "");
}

TEST(StoreFormat, NoticesEveryChangedByte)
{
    const std::string file = store_of(lines);
    std::string_view settings;
    for (size_t i = 0; i < file.size(); ++i) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string damaged = file;
            damaged[i] = static_cast<char>(byte);
            ASSERT_EQ(settings_of_store(damaged, settings), damaged == file) << "byte " << i << " is " << byte;
        }
    }
}

TEST(StoreFormat, NoticesEveryCutAndEveryAddition)
{
    const std::string file = store_of(lines);
    std::string_view settings;
    for (size_t size = 0; size < file.size(); ++size)
        ASSERT_FALSE(settings_of_store(std::string_view(file).substr(0, size), settings)) << size;
    EXPECT_FALSE(settings_of_store(file + "\n", settings));
    EXPECT_FALSE(settings_of_store(file + std::string(1, '\0'), settings));
}

TEST(StoreFormat, TheSumTellsSizesAndPlacesApart)
{
    std::set<uint64_t> sums;
    std::string bytes;
    for (int size = 0; size < 40; ++size, bytes += '\0')
        sums.insert(content_sum(bytes));
    EXPECT_EQ(sums.size(), 40u);
    EXPECT_NE(content_sum("aaaaaaaabbbbbbbb"), content_sum("bbbbbbbbaaaaaaaa"));
}
