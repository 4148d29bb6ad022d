#include "kernel_tables.h"

#include <errno.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

// A message's fixed part and its attributes; cut ones are passed over.
class Message {
public:
    Message(const unsigned char* bytes, size_t size) : bytes_(bytes), size_(size) {}

    template <class Body>
    bool body(Body& to)
    {
        if (size_ < NLMSG_HDRLEN + sizeof to)
            return false;
        memcpy(&to, bytes_ + NLMSG_HDRLEN, sizeof to);
        at_ = NLMSG_HDRLEN + NLMSG_ALIGN(sizeof to);
        return true;
    }

    bool next()
    {
        if (at_ > size_ || size_ - at_ < sizeof head_)
            return false;
        memcpy(&head_, bytes_ + at_, sizeof head_);
        if (head_.rta_len < sizeof head_ || head_.rta_len > size_ - at_)
            return false;
        value_ = bytes_ + at_ + RTA_LENGTH(0);
        at_ += RTA_ALIGN(head_.rta_len);
        return true;
    }

    unsigned type() const { return head_.rta_type; }

    template <class Value>
    bool get(Value& to) const
    {
        if (head_.rta_len < RTA_LENGTH(sizeof to))
            return false;
        memcpy(&to, value_, sizeof to);
        return true;
    }

private:
    const unsigned char* bytes_;
    size_t size_;
    size_t at_ = 0;
    const unsigned char* value_ = nullptr;
    rtattr head_ = {};
};

bool take(Message message, KernelAddress& address)
{
    ifaddrmsg body;
    if (!message.body(body) || body.ifa_family != AF_INET6)
        return false;
    address.index = body.ifa_index;
    address.length = body.ifa_prefixlen;
    address.flags = body.ifa_flags;
    address.preferred = UINT32_MAX; // as the kernel means it when it tells no lifetimes
    address.valid = UINT32_MAX;
    bool has_local = false;
    bool found = false;
    while (message.next()) {
        if (message.type() == IFA_LOCAL) {
            has_local = message.get(address.address);
            found = found || has_local;
        } else if (message.type() == IFA_ADDRESS && !has_local) {
            found = message.get(address.address);
        } else if (message.type() == IFA_FLAGS) {
            message.get(address.flags);
        } else if (ifa_cacheinfo life; message.type() == IFA_CACHEINFO && message.get(life)) {
            address.preferred = life.ifa_prefered;
            address.valid = life.ifa_valid;
        }
    }
    return found;
}

bool take(Message message, KernelRoute& route)
{
    rtmsg body;
    if (!message.body(body) || body.rtm_family != AF_INET6 || body.rtm_type != RTN_UNICAST)
        return false;
    uint32_t table = body.rtm_table;
    route.length = body.rtm_dst_len;
    while (message.next()) {
        if (message.type() == RTA_DST)
            message.get(route.target);
        else if (message.type() == RTA_GATEWAY)
            route.has_gateway = message.get(route.gateway);
        else if (message.type() == RTA_OIF)
            message.get(route.index);
        else if (message.type() == RTA_TABLE)
            message.get(table);
    }
    return table == RT_TABLE_MAIN;
}

bool take(Message message, KernelNeighbor& neighbor)
{
    ndmsg body;
    if (!message.body(body) || body.ndm_family != AF_INET6)
        return false;
    neighbor.index = static_cast<unsigned>(body.ndm_ifindex);
    neighbor.state = body.ndm_state;
    bool found = false;
    while (message.next()) {
        if (message.type() == NDA_DST)
            found = message.get(neighbor.address);
    }
    return found;
}

enum class Step { more, done, failed };

template <class Table>
Step take_answer(const unsigned char* bytes, size_t size, Table& table, bool& is_cut)
{
    while (size > 0) {
        nlmsghdr head;
        if (size < sizeof head)
            return Step::failed;
        memcpy(&head, bytes, sizeof head);
        if (head.nlmsg_len < sizeof head || head.nlmsg_len > size || head.nlmsg_type == NLMSG_ERROR)
            return Step::failed;
        if (head.nlmsg_type == NLMSG_DONE)
            return Step::done;
        auto entry = table.entries[0];
        entry = {};
        if (take(Message(bytes, head.nlmsg_len), entry)) {
            if (table.count == Table::capacity)
                is_cut = true;
            else
                table.entries[table.count++] = entry;
        }
        const size_t step = NLMSG_ALIGN(head.nlmsg_len);
        bytes += step < size ? step : size;
        size -= step < size ? step : size;
    }
    return Step::more;
}

template <class Body, class Table>
void dump(uint16_t type, Table& table)
{
    static unsigned char answer[65536]; // the kernel fills at most half of it at once
    table.count = 0;
    table.is_known = false;
    bool is_cut = false;
    const int link = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    if (link < 0)
        return;
    const timeval patience = {2, 0};
    setsockopt(link, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    struct {
        nlmsghdr head;
        Body body;
    } request = {};
    request.head.nlmsg_len = NLMSG_LENGTH(sizeof request.body);
    request.head.nlmsg_type = type;
    request.head.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    reinterpret_cast<unsigned char*>(&request.body)[0] = AF_INET6; // each of the bodies begins with its family
    Step step = send(link, &request, request.head.nlmsg_len, 0) > 0 ? Step::more : Step::failed;
    while (step == Step::more) {
        const ssize_t got = recv(link, answer, sizeof answer, 0);
        if (got < 0 && errno == EINTR)
            continue;
        step = got > 0 ? take_answer(answer, static_cast<size_t>(got), table, is_cut) : Step::failed;
    }
    close(link);
    table.is_known = step == Step::done && !is_cut;
}

} // namespace

void read_kernel_tables(KernelTables& tables)
{
    dump<ifaddrmsg>(RTM_GETADDR, tables.addresses);
    dump<rtmsg>(RTM_GETROUTE, tables.routes);
    dump<ndmsg>(RTM_GETNEIGH, tables.neighbors);
}

bool is_same(const in6_addr& a, const in6_addr& b)
{
    return memcmp(&a, &b, sizeof a) == 0;
}

bool is_same_prefix(const in6_addr& a, const in6_addr& b, unsigned length)
{
    for (unsigned bit = 0; bit < length && bit < 128; bit += 8) {
        const unsigned mask = length - bit >= 8 ? 0xFFU : 0xFFU << (8 - (length - bit)) & 0xFFU;
        if (((a.s6_addr[bit / 8] ^ b.s6_addr[bit / 8]) & mask) != 0)
            return false;
    }
    return true;
}
