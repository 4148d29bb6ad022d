// Files on a disk that takes no more: what cannot be written whole does not replace what is there.
#include <csignal>
#include <sys/resource.h>

#include "frame/files.h"
#include "lan/dhcp6d.h"
#include "lan/radvd.h"
#include "platform/device_test.h"

namespace {

// No file of this process may grow beyond so many bytes while it lives.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit = {bytes, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, SIG_DFL);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit before_ = {};
};

class FullDiskTest : public DeviceTest {};

} // namespace

TEST_F(FullDiskTest, a_file_that_is_not_whole_does_not_take_its_place)
{
    write_file("/tmp/radvd.conf", "old\n");
    {
        const FileSizeLimit limit(4);
        FileWriter file("/tmp/radvd.conf", FileWriter::Mode::whole);
        file.put_line("0123456789");
        EXPECT_FALSE(file.put_in_place());
    }
    EXPECT_EQ(read_file("/tmp/radvd.conf"), "old\n");
    EXPECT_FALSE(file_exists("/tmp/radvd.conf.new"));
}

TEST_F(FullDiskTest, the_daemons_files_stay_as_they_were)
{
    parm.wan_ip6_proto = "dhcp";
    write_file("/tmp/radvd.conf", "old radvd\n");
    write_file("/tmp/dhcp6d.conf", "old dhcpd\n");
    int radvd = 0;
    int dhcp6d = 0;
    {
        const FileSizeLimit limit(4);
        radvd = start_radvd(test_tid);
        dhcp6d = start_dhcp6d(test_tid);
    }
    EXPECT_EQ(radvd, -1);
    EXPECT_EQ(dhcp6d, -1);
    EXPECT_EQ(read_file("/tmp/radvd.conf"), "old radvd\n");
    EXPECT_EQ(read_file("/tmp/dhcp6d.conf"), "old dhcpd\n");
}
