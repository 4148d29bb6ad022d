#include "neighbors.h"

#include <unistd.h>

#include "frame/files.h"
#include "frame/log.h"
#include "frame/outside_value.h"
#include "frame/shell.h"
#include "neighbor_list.h"

namespace {

constexpr char name[] = "zel_ip6neigh_update";
constexpr char stored_path[] = "/tmp/.ip6_neigh";
constexpr char shown_path[] = "/tmp/.ip6_neigh_show";
constexpr int forget_after = 600; // seconds

// "xx:xx:xx:xx:xx:xx"
Text<18> hexadecimal(const std::array<unsigned char, 6>& octets)
{
    constexpr char digits[] = "0123456789abcdef";
    Text<18> text;
    char* to = text.data();
    for (const unsigned char octet : octets) {
        *to++ = digits[octet >> 4];
        *to++ = digits[octet & 0xF];
        *to++ = ':';
    }
    to[-1] = '\0';
    return text;
}

// "ADDRESS dev DEVICE lladdr xx:xx:xx:xx:xx:xx"; put together by hand, because every comparison is told with one.
Text<128> described(const Neighbor& n)
{
    Text<128> text;
    text.append(n.address);
    text.append(" dev ");
    text.append(n.device);
    text.append(" lladdr ");
    text.append(hexadecimal(n.lladdr));
    return text;
}

bool same_neighbor(const Neighbor& a, const Neighbor& b)
{
    return a.address.equals(b.address) && a.device.equals(b.device) && a.lladdr == b.lladdr;
}

bool append(NeighborList& list, const Neighbor& neighbor)
{
    const bool appended = list.append(neighbor);
    if (!appended)
        log_line(name, "no room for %s and what follows.", described(neighbor));
    return appended;
}

// Returns the number of entries.
int load_stored(NeighborList& list)
{
    Stream file(stored_path);
    if (!file.is_open())
        return 0;
    int count = 0;
    for (char line[512]; file.read_line(line);) {
        Neighbor entry;
        if (!is_acceptable_line(name, "a line of the stored table", line))
            continue;
        if (parse_neighbor(line, entry) < 9)
            continue;
        log_line(name, "1, %s uptime %d.", described(entry), entry.last_seen);
        if (!append(list, entry))
            break;
        ++count;
    }
    return count;
}

bool refresh(NeighborList& list, const Neighbor& seen, int now)
{
    for (Neighbor* entry = list.first(); entry != nullptr; entry = entry->next) {
        log_line(name, "2.1, %s.", described(*entry));
        if (same_neighbor(*entry, seen)) {
            entry->last_seen = now;
            return true;
        }
        log_line(name, "2.2.");
    }
    return false;
}

// Returns the number of new entries. A line without a link-layer address takes the one of the line before.
int merge_shown(NeighborList& list, int now)
{
    Stream file(shown_path);
    if (!file.is_open())
        return 0;
    int added = 0;
    Neighbor seen;
    for (char line[256]; file.read_line(line);) {
        if (!is_acceptable_line(name, "a line of the neighbor table", line))
            continue;
        parse_neighbor(line, seen);
        log_line(name, "2, %s.", described(seen));
        if (refresh(list, seen, now))
            continue;
        seen.last_seen = now;
        if (!append(list, seen))
            break;
        log_line(name, "2.3.");
        ++added;
    }
    return added;
}

// Returns the number of entries that were left out for their age.
int store(NeighborList& list, int now)
{
    unlink(stored_path);
    FileWriter file(stored_path, FileWriter::Mode::append);
    if (!file.is_open())
        return 0;
    int dropped = 0;
    for (const Neighbor* entry = list.first(); entry != nullptr; entry = entry->next) {
        log_line(name, "3, %s uptime %d[%ld].", described(*entry), entry->last_seen, uptime_seconds());
        if (now - entry->last_seen >= forget_after)
            ++dropped;
        else
            file.line("%s uptime %d", described(*entry), entry->last_seen);
    }
    return dropped;
}

} // namespace

int zel_ip6neigh_update(int)
{
    const int now = static_cast<int>(uptime_seconds());
    NeighborList list;
    int hs_count = load_stored(list);
    unlink(shown_path);
    if (run_shell("ip -6 neigh show > %s", shown_path) != 0)
        return -1;
    hs_count += merge_shown(list, now);
    hs_count -= store(list, now);
    log_line(name, "4, hs_count %d.", hs_count);
    return hs_count;
}
