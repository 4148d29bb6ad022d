#include "platform/ra_records.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/icmp6.h>
#include <sched.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "child.h"
#include "temp_folder.h"

namespace {

constexpr int no_namespace = 100;
constexpr uint8_t managed = 0x80; // as the advertisement has them
constexpr uint8_t other = 0x40;
constexpr unsigned long asked = 0x10; // the kernel's flag for a solicitation sent

std::vector<std::string> records()
{
    std::vector<std::string> lines;
    FILE* const stream = open_ra_records();
    if (stream == nullptr)
        return lines;
    char line[256];
    while (fgets(line, sizeof line, stream) != nullptr)
        lines.emplace_back(line);
    fclose(stream);
    return lines;
}

std::vector<std::string> columns(const std::string& line)
{
    std::vector<std::string> made;
    for (size_t at = 0; (at = line.find_first_not_of(" \n", at)) != line.npos;) {
        const size_t end = line.find_first_of(" \n", at);
        made.push_back(line.substr(at, end - at));
        at = end;
    }
    return made;
}

// The columns of the first record of an interface.
std::vector<std::string> record_of(const std::string& interface)
{
    for (const std::string& line : records()) {
        const auto all = columns(line);
        if (all.size() == 9 && all[7] == interface)
            return all;
    }
    return std::vector<std::string>(9);
}

bool shell(const std::string& line)
{
    return system(line.c_str()) == 0;
}

struct Advertisement {
    nd_router_advert head;
    nd_opt_hdr option;
    unsigned char link_address[6];
};

// Sends an advertisement of a router without a prefix from `interface`, with or without its link-layer address.
bool advertise(const char* interface, uint8_t flags, uint16_t lifetime, bool has_link_address = true)
{
    const int fd = socket(AF_INET6, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMPV6);
    const int hops = 255;
    const int index = static_cast<int>(if_nametoindex(interface));
    setsockopt(fd, IPPROTO_IPV6, IPV6_MULTICAST_HOPS, &hops, sizeof hops);
    setsockopt(fd, IPPROTO_IPV6, IPV6_MULTICAST_IF, &index, sizeof index);
    Advertisement message = {};
    message.head.nd_ra_type = ND_ROUTER_ADVERT;
    message.head.nd_ra_curhoplimit = 64;
    message.head.nd_ra_flags_reserved = flags;
    message.head.nd_ra_router_lifetime = htons(lifetime);
    message.option = {ND_OPT_SOURCE_LINKADDR, 1};
    ifreq request = {};
    strncpy(request.ifr_name, interface, sizeof request.ifr_name - 1);
    ioctl(fd, SIOCGIFHWADDR, &request);
    memcpy(message.link_address, request.ifr_hwaddr.sa_data, sizeof message.link_address);
    const size_t size = has_link_address ? sizeof message : sizeof message.head;
    sockaddr_in6 all_nodes = {};
    all_nodes.sin6_family = AF_INET6;
    inet_pton(AF_INET6, "ff02::1", &all_nodes.sin6_addr);
    all_nodes.sin6_scope_id = static_cast<uint32_t>(index);
    const bool sent = sendto(fd, &message, size, 0, reinterpret_cast<sockaddr*>(&all_nodes), sizeof all_nodes)
                      == static_cast<ssize_t>(size);
    close(fd);
    return sent;
}

unsigned long hex(const std::string& text)
{
    return strtoul(text.c_str(), nullptr, 16);
}

// Waits until the flags of `mask` are `flags`, for `looks` times 20 ms.
bool await_flags(const std::string& interface, unsigned long mask, unsigned long flags, int looks = 200)
{
    for (int i = 0; i < looks; ++i) {
        if ((hex(record_of(interface)[6]) & mask) == flags)
            return true;
        usleep(20'000);
    }
    return false;
}

// Sends an advertisement from isp0 until the flags `mask` of wan0 are `wanted`: a link that has just come up may drop
// what is sent at first.
bool advertise_until(uint8_t flags, uint16_t lifetime, unsigned long mask, unsigned long wanted,
                     bool has_link_address = true)
{
    for (int i = 0; i < 10; ++i) {
        if (!advertise("isp0", flags, lifetime, has_link_address))
            return false;
        if (await_flags("wan0", mask, wanted, 50))
            return true;
    }
    return false;
}

// Runs `body` in a network namespace with the pair wan0 and isp0, addresses fe80::1 and fe80::2, once the kernel has
// asked for an advertisement: it takes no other. Returns no_namespace where none may be made.
int run_in_namespace(int (*body)())
{
    return run_child([body] {
        if (unshare(geteuid() == 0 ? CLONE_NEWNET : CLONE_NEWNET | CLONE_NEWUSER) != 0)
            return no_namespace;
        if (!shell("ip link add wan0 type veth peer name isp0 2>/dev/null"))
            return no_namespace;
        const bool ready =
            shell("echo 0 >/proc/sys/net/ipv6/conf/wan0/router_solicitation_delay")
            && shell("echo 0 >/proc/sys/net/ipv6/conf/isp0/accept_ra")
            && shell("for i in wan0 isp0; do ip link set $i addrgenmode none; done")
            && shell("ip link set wan0 up && ip link set isp0 up")
            && shell("ip -6 addr add fe80::1/64 dev wan0 nodad && ip -6 addr add fe80::2/64 dev isp0 nodad");
        return ready && await_flags("wan0", 0xff, asked) ? body() : 1;
    });
}

} // namespace

TEST(RaRecords, HaveTheAddressesOfTheKernelInItsOrder)
{
    if (access("/proc/net/if_flags6", R_OK) == 0)
        GTEST_SKIP() << "this kernel has the records itself";
    std::vector<std::string> expected;
    FILE* const addresses = fopen("/proc/net/if_inet6", "re");
    ASSERT_NE(addresses, nullptr);
    char line[256];
    while (fgets(line, sizeof line, addresses) != nullptr)
        expected.push_back(columns(line)[0] + columns(line)[5]);
    fclose(addresses);
    std::vector<std::string> found;
    for (const std::string& record : records()) {
        const auto all = columns(record);
        ASSERT_EQ(all.size(), 9u) << record;
        EXPECT_EQ(all[6].size(), 8u);
        EXPECT_EQ(all[8].size(), 32u);
        found.push_back(all[0] + all[7]);
    }
    EXPECT_EQ(found, expected);
}

TEST(RaRecords, FollowTheAdvertisementsOfARealKernel)
{
    const int status = run_in_namespace([] {
        const std::string zeros(32, '0');
        const std::string router = "fe800000000000000000000000000002";
        if (record_of("wan0")[8] != zeros)
            return 2;
        if (!advertise_until(other, 600, 0xff, 0xa0 | asked) || record_of("wan0")[8] != router)
            return 3;
        if (!advertise_until(managed | other, 600, 0xff, 0xe0 | asked))
            return 4;
        if (!advertise_until(0, 600, 0xff, 0x20 | asked))
            return 5;
        if (record_of("isp0")[8] != zeros || (hex(record_of("isp0")[6]) & 0xe0) != 0)
            return 6;
        // A link that went down forgets its router, though the kernel keeps the flags of the advertisement.
        if (!advertise_until(managed | other, 600, 0xe0, 0xe0))
            return 7;
        if (!shell("ip link set wan0 down && ip link set wan0 up && ip -6 addr add fe80::1/64 dev wan0 nodad"))
            return 8;
        if (!await_flags("wan0", 0xf0, asked) || record_of("wan0")[8] != zeros)
            return 9;
        return 0;
    });
    if (status == no_namespace)
        GTEST_SKIP() << "no network namespace with a veth pair may be made here";
    EXPECT_EQ(status, 0);
}

TEST(RaRecords, KnowARouterThatIsNoDefaultRouterByItsNeighborEntry)
{
    const int status = run_in_namespace([] {
        if (!advertise_until(managed, 0, 0xe0, 0x60))
            return 2;
        if (shell("ip -6 route show default | grep -q .") || !shell("ip -6 neigh show dev wan0 | grep -q router"))
            return 3;
        return record_of("wan0")[8] == "fe800000000000000000000000000002" ? 0 : 4;
    });
    if (status == no_namespace)
        GTEST_SKIP() << "no network namespace with a veth pair may be made here";
    EXPECT_EQ(status, 0);
}

TEST(RaRecords, KnowThePeerOfALinkWithoutLinkLayerAddresses)
{
    const int status = run_in_namespace([] {
        if (!shell("ip link set wan0 arp off"))
            return 2;
        if (!advertise_until(managed, 0, 0xe0, 0x60, false))
            return 3;
        return record_of("wan0")[8] == "fe800000000000000000000000000002" ? 0 : 4;
    });
    if (status == no_namespace)
        GTEST_SKIP() << "no network namespace with a veth pair may be made here";
    EXPECT_EQ(status, 0);
}

TEST(RaRecords, CountTheSolicitationsOfARealKernel)
{
    const int status = run_in_namespace([] {
        const unsigned long first = hex(record_of("wan0")[5]);
        if (first == 0 || !shell("ip link set wan0 down && ip link set wan0 up"))
            return 2;
        if (!shell("ip -6 addr add fe80::1/64 dev wan0 nodad"))
            return 3;
        for (int i = 0; i < 200; ++i) {
            if (hex(record_of("wan0")[5]) == first + 1)
                return 0;
            usleep(20'000);
        }
        return 4;
    });
    if (status == no_namespace)
        GTEST_SKIP() << "no network namespace with a veth pair may be made here";
    EXPECT_EQ(status, 0);
}

TEST(RaRecords, HaveALineForEachOfThousandsOfAddresses)
{
    const int status = run_in_namespace([] {
        const TempFolder folder;
        std::string batch;
        for (int i = 0; i < 3000; ++i)
            batch += "addr add 3fff::" + std::to_string(i) + "/64 dev wan0 nodad\n";
        write_file(folder.file("batch"), batch);
        if (!shell("ip -6 -batch " + folder.file("batch")))
            return 2;
        size_t of_wan = 0;
        for (const std::string& line : records())
            of_wan += columns(line).size() == 9 && columns(line)[7] == "wan0" ? 1 : 0;
        return of_wan == 3001 ? 0 : 3;
    });
    if (status == no_namespace)
        GTEST_SKIP() << "no network namespace with a veth pair may be made here";
    EXPECT_EQ(status, 0);
}
