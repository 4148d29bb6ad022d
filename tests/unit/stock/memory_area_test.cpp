#include "memory_area.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <stdint.h>
#include <string.h>

#include <string>

TEST(MemoryArea, KeepsItsContentsWhenItGrows)
{
    MemoryArea area;
    const std::string text(100'000, 'x');
    ASSERT_TRUE(area.reserve(text.size()));
    memcpy(area.data(), text.data(), text.size());
    for (size_t size = 3 * text.size(); size < 30'000'000; size *= 3) {
        ASSERT_TRUE(area.reserve(size));
        ASSERT_EQ(memcmp(area.data(), text.data(), text.size()), 0);
        area.data()[size - 1] = 'y';
    }
    area.release();
    EXPECT_EQ(area.data(), nullptr);
}

TEST(MemoryArea, RefusesWhatTheMachineDoesNotHave)
{
    MemoryArea area;
    ASSERT_TRUE(area.reserve(10));
    char* const before = area.data();
    EXPECT_FALSE(area.reserve(SIZE_MAX));
    EXPECT_EQ(errno, ENOMEM);
    // A quarter of what 64 bits can name is refused by the kernel; a quarter of what 32 can may well be there.
    EXPECT_FALSE(area.reserve(sizeof(size_t) == 8 ? SIZE_MAX / 4 : SIZE_MAX / 4 * 3));
    EXPECT_EQ(area.data(), before);
    area.release();
}
