#include "platform/ra_records.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/rtnetlink.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "advertised_state.h"
#include "line_reader.h"
#include "netlink_dump.h"
#include "record_text.h"
#include "scratch_file.h"

namespace {

constexpr int router_looks = 3;
constexpr long router_pause_ns = 10'000'000;

// An advertisement that is just being taken in has set the interface's flag, but not yet its route.
void gather(AdvertisedState& state)
{
    for (int look = 0; look < router_looks; ++look) {
        if (look > 0) {
            const timespec pause = {0, router_pause_ns};
            nanosleep(&pause, nullptr);
        }
        state.clear();
        take_dump(RTM_GETLINK, state);
        take_dump(RTM_GETROUTE, state);
        if (!state.has_all_routers())
            take_dump(RTM_GETNEIGH, state);
        if (state.has_all_routers())
            return;
    }
}

unsigned long read_solicitations(std::string_view interface)
{
    char path[64];
    snprintf(path, sizeof path, "/proc/net/dev_snmp6/%.*s", static_cast<int>(interface.size()), interface.data());
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return 0;
    LineReader lines(fd);
    std::string_view line;
    unsigned long count = 0; // the kernel leaves the line out before the first solicitation
    while (lines.next(line) == LineResult::line) {
        if (const auto found = parse_solicitations(line)) {
            count = *found;
            break;
        }
    }
    close(fd);
    return count;
}

// Reads them once for an interface of many addresses.
unsigned long count_solicitations(const AddressLine& address, InterfaceState* interface)
{
    if (interface == nullptr)
        return read_solicitations(address.interface);
    if (!interface->solicitations)
        interface->solicitations = read_solicitations(address.interface);
    return *interface->solicitations;
}

bool write_all(int fd, const char* text, size_t size)
{
    while (size > 0) {
        const ssize_t written = write(fd, text, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        text += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

bool write_records(int addresses, int records)
{
    static AdvertisedState state;
    gather(state);
    LineReader lines(addresses);
    std::string_view line;
    LineResult result;
    while ((result = lines.next(line)) == LineResult::line) {
        const auto address = parse_address_line(line);
        if (!address)
            continue;
        char record[record_capacity];
        InterfaceState* const interface = state.find(address->index);
        const size_t size = format_record(*address, interface, count_solicitations(*address, interface), record);
        if (!write_all(records, record, size))
            return false;
    }
    return result == LineResult::end;
}

} // namespace

FILE* open_ra_records(void)
{
    if (FILE* const kept_by_kernel = fopen("/proc/net/if_flags6", "re"))
        return kept_by_kernel;
    const int addresses = open("/proc/net/if_inet6", O_RDONLY | O_CLOEXEC);
    if (addresses < 0)
        return nullptr;
    const int records = open_scratch_file();
    FILE* stream = nullptr;
    if (records >= 0 && write_records(addresses, records) && lseek(records, 0, SEEK_SET) == 0)
        stream = fdopen(records, "r");
    if (stream == nullptr && records >= 0)
        close(records);
    close(addresses);
    return stream;
}
