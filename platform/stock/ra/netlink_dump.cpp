#include "netlink_dump.h"

#include <errno.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr size_t answer_capacity = 65536; // the kernel fills at most half of it at once
constexpr size_t largest_header = sizeof(ifinfomsg) > sizeof(rtmsg) ? sizeof(ifinfomsg) : sizeof(rtmsg);

struct Request {
    nlmsghdr head;
    unsigned char body[largest_header];
};

size_t body_size(uint16_t type)
{
    return type == RTM_GETLINK ? sizeof(ifinfomsg) : type == RTM_GETROUTE ? sizeof(rtmsg) : sizeof(ndmsg);
}

bool send_request(int socket_fd, uint16_t type)
{
    Request request = {};
    request.head.nlmsg_len = static_cast<uint32_t>(sizeof request.head + body_size(type));
    request.head.nlmsg_type = type;
    request.head.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.body[0] = AF_INET6; // each of the three bodies begins with its address family
    return send(socket_fd, &request, request.head.nlmsg_len, 0) == static_cast<ssize_t>(request.head.nlmsg_len);
}

enum class DumpStep { more, done, failed };

DumpStep take_answer(std::span<const unsigned char> answer, AdvertisedState& state)
{
    while (!answer.empty()) {
        nlmsghdr head;
        if (answer.size() < sizeof head)
            return DumpStep::failed;
        memcpy(&head, answer.data(), sizeof head);
        if (head.nlmsg_len < sizeof head || head.nlmsg_len > answer.size() || head.nlmsg_type == NLMSG_ERROR)
            return DumpStep::failed;
        if (head.nlmsg_type == NLMSG_DONE)
            return DumpStep::done;
        state.take({answer.data(), head.nlmsg_len});
        const size_t step = NLMSG_ALIGN(head.nlmsg_len);
        answer = step < answer.size() ? answer.subspan(step) : std::span<const unsigned char>();
    }
    return DumpStep::more;
}

} // namespace

bool take_dump(uint16_t type, AdvertisedState& state)
{
    static unsigned char answer[answer_capacity];
    const int socket_fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    if (socket_fd < 0)
        return false;
    DumpStep step = send_request(socket_fd, type) ? DumpStep::more : DumpStep::failed;
    while (step == DumpStep::more) {
        const ssize_t got = recv(socket_fd, answer, sizeof answer, 0);
        if (got < 0 && errno == EINTR)
            continue;
        step = got > 0 ? take_answer({answer, static_cast<size_t>(got)}, state) : DumpStep::failed;
    }
    close(socket_fd);
    return step == DumpStep::done;
}
