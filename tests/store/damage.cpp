#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>

#include "platform/config_store.h"
#include "setting_name.h"
#include "snapshot.h"
#include "store_driver.h"
#include "store_file.h"
#include "store_message.h"
#include "store_writer.h"

namespace {

constexpr std::size_t sector = 512;

std::string read_all(const char* path)
{
    std::string bytes;
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    char piece[65536];
    for (ssize_t got; (got = read(fd, piece, sizeof piece)) > 0;)
        bytes.append(piece, static_cast<std::size_t>(got));
    close(fd);
    return bytes;
}

void write_all(const char* path, const std::string& bytes)
{
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0 || write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        abort();
    close(fd);
}

struct Outcome {
    unsigned long cases = 0;
    unsigned long unchanged = 0; // a change that changed no byte
    unsigned long refused = 0;
};

class Damager {
public:
    // True when the store of `bytes` is refused by all who could use it and is left as it is.
    bool is_refused(const std::string& bytes)
    {
        write_all(path, bytes);
        StoreCopy copy;
        const bool read = copy.read(path) == 0;
        copy.release();
        const int tid = tesa_start_transc();
        tesa_end_transc(tid);
        StoreWriter writer;
        SettingName name;
        name.assign("k", "s");
        const bool written = writer.begin(path) && writer.put(name, "1") && writer.commit();
        return !read && tid < 0 && !written && read_all(path) == bytes;
    }

    bool try_one(const std::string& bytes)
    {
        ++outcome.cases;
        if (bytes == whole) {
            ++outcome.unchanged;
            return true;
        }
        if (!is_refused(bytes))
            return false;
        ++outcome.refused;
        return true;
    }

    const char* path = store_path();
    std::string whole = read_all(path);
    Outcome outcome;
};

bool flip_bits(Damager& damager, unsigned long step)
{
    for (unsigned long bit = 0; bit < damager.whole.size() * 8; bit += step) {
        std::string bytes = damager.whole;
        bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << bit % 8));
        if (!damager.try_one(bytes)) {
            std::printf("bit %lu is not noticed\n", bit);
            return false;
        }
    }
    return true;
}

bool cut(Damager& damager, unsigned long step)
{
    for (std::size_t size = 0; size < damager.whole.size(); size += step) {
        if (!damager.try_one(damager.whole.substr(0, size))) {
            std::printf("a cut to %zu is not noticed\n", size);
            return false;
        }
    }
    return true;
}

bool make_noise(Damager& damager, unsigned long times)
{
    std::mt19937 random(7);
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    for (unsigned long i = 0; i < times; ++i) {
        std::string bytes = damager.whole;
        for (std::size_t changes = 1 + below(4); changes > 0; --changes) {
            const std::size_t at = below(bytes.size());
            const std::size_t size = std::min(1 + below(2 * sector), bytes.size() - at);
            const std::size_t start = at / sector * sector;
            switch (below(6)) {
            case 0:
                bytes[at] = static_cast<char>(random());
                break;
            case 1: // a sector that was never written, or that was erased
                bytes.replace(start, sector, std::string(std::min(sector, bytes.size() - start), '\0'));
                break;
            case 2:
                bytes.replace(start, sector, std::string(std::min(sector, bytes.size() - start), '\xff'));
                break;
            case 3: // a block in another's place
                bytes.replace(at, size, bytes, below(bytes.size() - size + 1), size);
                break;
            case 4:
                bytes.erase(at, size);
                break;
            default:
                bytes.insert(at, bytes, at, size);
                break;
            }
            if (bytes.empty())
                bytes = "x";
        }
        if (!damager.try_one(bytes)) {
            std::printf("noise %lu is not noticed\n", i);
            return false;
        }
    }
    return true;
}

} // namespace

int damage_store(const std::string& kind, unsigned long step)
{
    if (freopen("/dev/null", "w", stderr) == nullptr) // a message a case
        return 1;
    store_messages_to_stderr();
    Damager damager;
    if (damager.whole.empty() || damager.is_refused(damager.whole)) {
        std::printf("the undamaged store is refused\n");
        return 1;
    }
    write_all(damager.path, damager.whole);
    const bool held = kind == "bits"   ? flip_bits(damager, step)
                      : kind == "cuts" ? cut(damager, step)
                                       : make_noise(damager, step);
    if (!held)
        return 1;
    write_all(damager.path, damager.whole);
    std::printf("bytes=%zu cases=%lu refused=%lu unchanged=%lu\n", damager.whole.size(), damager.outcome.cases,
                damager.outcome.refused, damager.outcome.unchanged);
    return 0;
}
