#include "frame/pause.h"

#include "platform/device_test.h"

namespace {

using PauseTest = DeviceTest;

} // namespace

TEST_F(PauseTest, waits_as_long_as_asked)
{
    pause_ms(800);
    pause_ms(1000);
    pause_ms(1500);
    EXPECT_EQ(clock.pauses, (std::vector<long>{800, 1000, 1500}));
}

TEST_F(PauseTest, waits_for_the_rest_after_a_signal)
{
    clock.interruptions = 2;
    pause_ms(1000);
    EXPECT_EQ(clock.pauses, (std::vector<long>{500, 250, 250}));
}
