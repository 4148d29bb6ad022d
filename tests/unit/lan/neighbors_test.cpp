#include "lan/neighbors.h"

#include "lan/neighbor_list.h"

#include "platform/device_test.h"

namespace {

constexpr char stored[] = "/tmp/.ip6_neigh";
constexpr char show[] = "ip -6 neigh show > /tmp/.ip6_neigh_show";

class NeighborsTest : public DeviceTest {
protected:
    NeighborsTest() { clock.uptime = 5000; }

    // What the kernel shows in the next run.
    void kernel_shows(const std::string& lines)
    {
        shell.effect[show] = [lines] { write_file("/tmp/.ip6_neigh_show", lines); };
    }
};

} // namespace

TEST_F(NeighborsTest, stores_what_is_shown)
{
    kernel_shows("fe80::1 dev br-lan lladdr 00:00:00:00:00:01 REACHABLE\n"
                 "fe80::2 dev br-lan lladdr 00:00:00:00:00:02 router STALE\n"
                 "fe80::3 dev br-lan1 lladdr 00:00:00:00:00:03 DELAY\n");
    EXPECT_EQ(zel_ip6neigh_update(test_tid), 3);
    EXPECT_EQ(read_file(stored), "fe80::1 dev br-lan lladdr 00:00:00:00:00:01 uptime 5000\n"
                                 "fe80::2 dev br-lan lladdr 00:00:00:00:00:02 uptime 5000\n"
                                 "fe80::3 dev br-lan1 lladdr 00:00:00:00:00:03 uptime 5000\n");
    EXPECT_EQ(log_lines().back(), "[zel_ip6neigh_update][5000] 4, hs_count 3.");
}

TEST_F(NeighborsTest, passes_over_lines_with_a_control_character)
{
    write_file(stored, "fe80::1 dev br\x1blan lladdr 00:00:00:00:00:01 uptime 4999\n"
                       "fe80::2 dev br-lan lladdr 00:00:00:00:00:02 uptime 4999\n");
    kernel_shows("fe80::3 dev br-lan\x01 lladdr 00:00:00:00:00:03 STALE\n"
                 "fe80::4 dev br-lan lladdr 00:00:00:00:00:04 STALE\n");
    EXPECT_EQ(zel_ip6neigh_update(test_tid), 2);
    EXPECT_EQ(read_file(stored), "fe80::2 dev br-lan lladdr 00:00:00:00:00:02 uptime 4999\n"
                                 "fe80::4 dev br-lan lladdr 00:00:00:00:00:04 uptime 5000\n");
    const std::string absent = " holds a control character and counts as absent.";
    EXPECT_EQ(log_lines()[0], "[zel_ip6neigh_update][5000] a line of the stored table" + absent);
    EXPECT_EQ(beginning_with("[zel_ip6neigh_update][5000] a line of the neighbor table" + absent, log_lines()).size(),
              1U);
}

TEST_F(NeighborsTest, stops_reading_when_the_list_is_full_and_says_so)
{
    std::string lines;
    for (int i = 0; i <= NeighborList::limit; ++i)
        lines += "fe80::" + std::to_string(i) + " dev br-lan lladdr 00:00:00:00:00:01 uptime 4999\n";
    write_file(stored, lines);
    EXPECT_EQ(zel_ip6neigh_update(test_tid), NeighborList::limit);
    EXPECT_EQ(beginning_with("[zel_ip6neigh_update][5000] no room for fe80::4096 dev br-lan", log_lines()).size(), 1U);
}

TEST_F(NeighborsTest, forgets_neighbors_after_600_seconds)
{
    write_file(stored, "fe80::1 dev br-lan lladdr 00:00:00:00:00:01 uptime 4400\n"
                       "fe80::2 dev br-lan lladdr 00:00:00:00:00:02 uptime 4401\n");
    EXPECT_EQ(zel_ip6neigh_update(test_tid), 1);
    EXPECT_EQ(read_file(stored), "fe80::2 dev br-lan lladdr 00:00:00:00:00:02 uptime 4401\n");
}

TEST_F(NeighborsTest, refreshes_a_neighbor_however_old)
{
    write_file(stored, "fe80::1 dev br-lan lladdr 00:00:00:00:00:01 uptime 1\n");
    kernel_shows("fe80::1 dev br-lan lladdr 00:00:00:00:00:01 REACHABLE\n");
    EXPECT_EQ(zel_ip6neigh_update(test_tid), 1);
    EXPECT_EQ(read_file(stored), "fe80::1 dev br-lan lladdr 00:00:00:00:00:01 uptime 5000\n");
}

TEST_F(NeighborsTest, takes_another_device_or_link_layer_address_for_another_neighbor)
{
    kernel_shows("fe80::1 dev br-lan lladdr 00:00:00:00:00:01 REACHABLE\n"
                 "fe80::1 dev br-lan1 lladdr 00:00:00:00:00:01 REACHABLE\n"
                 "fe80::1 dev br-lan lladdr 00:00:00:00:00:02 REACHABLE\n"
                 "fe80::1 dev br-lan lladdr 00:00:00:00:00:01 STALE\n");
    EXPECT_EQ(zel_ip6neigh_update(test_tid), 3);
}

TEST_F(NeighborsTest, gives_a_neighbor_without_a_link_layer_address_the_one_before)
{
    kernel_shows("fe80::9 dev br-lan FAILED\n"
                 "fe80::1 dev br-lan lladdr 00:00:00:00:00:01 REACHABLE\n"
                 "fe80::2 dev br-lan FAILED\n");
    EXPECT_EQ(zel_ip6neigh_update(test_tid), 3);
    EXPECT_EQ(read_file(stored), "fe80::9 dev br-lan lladdr 00:00:00:00:00:00 uptime 5000\n"
                                 "fe80::1 dev br-lan lladdr 00:00:00:00:00:01 uptime 5000\n"
                                 "fe80::2 dev br-lan lladdr 00:00:00:00:00:01 uptime 5000\n");
}

TEST_F(NeighborsTest, leaves_the_table_when_the_kernel_cannot_be_asked)
{
    write_file(stored, "fe80::1 dev br-lan lladdr 00:00:00:00:00:01 uptime 1\n");
    shell.status[show] = 1;
    EXPECT_EQ(zel_ip6neigh_update(test_tid), -1);
    EXPECT_EQ(read_file(stored), "fe80::1 dev br-lan lladdr 00:00:00:00:00:01 uptime 1\n");
}

TEST_F(NeighborsTest, drops_stored_lines_that_are_no_entry)
{
    write_file(stored, "garbage\nfe80::1 dev br-lan lladdr 00:00:00:00:00:01\n");
    EXPECT_EQ(zel_ip6neigh_update(test_tid), 0);
    EXPECT_EQ(read_file(stored), "");
}

TEST_F(NeighborsTest, logs_every_comparison)
{
    write_file(stored, "fe80::1 dev br-lan lladdr 00:00:00:00:00:01 uptime 4999\n");
    kernel_shows("fe80::2 dev br-lan lladdr 00:00:00:00:00:02 REACHABLE\n");
    EXPECT_EQ(zel_ip6neigh_update(test_tid), 2);
    const std::string p = "[zel_ip6neigh_update][5000] ";
    EXPECT_EQ(log_lines(), (Lines{
                               p + "1, fe80::1 dev br-lan lladdr 00:00:00:00:00:01 uptime 4999.",
                               "[zel_system][5000] [0]" + std::string(show),
                               p + "2, fe80::2 dev br-lan lladdr 00:00:00:00:00:02.",
                               p + "2.1, fe80::1 dev br-lan lladdr 00:00:00:00:00:01.",
                               p + "2.2.",
                               p + "2.3.",
                               p + "3, fe80::1 dev br-lan lladdr 00:00:00:00:00:01 uptime 4999[5000].",
                               p + "3, fe80::2 dev br-lan lladdr 00:00:00:00:00:02 uptime 5000[5000].",
                               p + "4, hs_count 2.",
                           }));
}
