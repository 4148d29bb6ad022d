// The one list on the heap: whatever happens to a run, nothing of it is left behind.
#include "lan/neighbors.h"

#include "platform/device_test.h"
#include "platform/heap.h"

namespace {

constexpr char stored[] = "/tmp/.ip6_neigh";
constexpr char show[] = "ip -6 neigh show > /tmp/.ip6_neigh_show";

class NeighborHeapTest : public DeviceTest {
protected:
    NeighborHeapTest()
    {
        clock.uptime = 5000;
        write_file(stored, "fe80::1 dev br-lan lladdr 00:00:00:00:00:01 uptime 4999\n"
                           "fe80::2 dev br-lan lladdr 00:00:00:00:00:02 uptime 100\n");
        shell.effect[show] = [] {
            write_file("/tmp/.ip6_neigh_show", "fe80::3 dev br-lan lladdr 00:00:00:00:00:03 STALE\n"
                                               "fe80::1 dev br-lan lladdr 00:00:00:00:00:01 STALE\n"
                                               "fe80::4 dev br-lan lladdr 00:00:00:00:00:04 STALE\n");
        };
    }

    ~NeighborHeapTest() override { heap().available = Heap().available; }

    // Runs the update with room for so many entries more; returns its result.
    int update(std::size_t entries = 1000)
    {
        const std::size_t held = heap().held;
        const std::size_t taken = heap().taken;
        heap().available = taken + entries;
        const int result = zel_ip6neigh_update(test_tid);
        heap().available = Heap().available;
        EXPECT_EQ(heap().held, held) << "entries are left behind";
        in_list_ = heap().taken - taken;
        return result;
    }

    std::size_t in_list_ = 0;
};

} // namespace

TEST_F(NeighborHeapTest, gives_back_every_entry)
{
    EXPECT_EQ(update(), 3);
    EXPECT_EQ(in_list_, 4U);
}

TEST_F(NeighborHeapTest, gives_back_every_entry_when_the_table_cannot_be_shown)
{
    shell.status[show] = 1;
    EXPECT_EQ(update(), -1);
    EXPECT_EQ(in_list_, 2U);
}

TEST_F(NeighborHeapTest, gives_back_every_entry_when_the_files_cannot_be_opened)
{
    make_unopenable("/tmp/.ip6_neigh_show");
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(in_list_, 2U);
    make_unopenable(stored);
    EXPECT_EQ(update(), 0);
    EXPECT_EQ(in_list_, 0U);
}

TEST_F(NeighborHeapTest, stores_the_neighbors_for_which_there_was_memory)
{
    const char* const first = "fe80::1 dev br-lan lladdr 00:00:00:00:00:01 uptime ";
    const char* const third = "fe80::3 dev br-lan lladdr 00:00:00:00:00:03 uptime 5000\n";
    EXPECT_EQ(update(3), 2);
    EXPECT_EQ(in_list_, 3U);
    EXPECT_EQ(read_file(stored), first + std::string("5000\n") + third);

    write_file(stored, first + std::string("4999\n"));
    EXPECT_EQ(update(1), 1);
    EXPECT_EQ(in_list_, 1U);
    EXPECT_EQ(read_file(stored), first + std::string("4999\n"));

    EXPECT_EQ(update(0), 0);
    EXPECT_EQ(in_list_, 0U);
}
