// The store's file, cut and with flipped bits: opening it must say no and leave it as it is, or work within the
// store's contract.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <unistd.h>

#include "platform/config_store.h"
#include "setting_name.h"
#include "store_writer.h"
#include "support/finding.h"
#include "support/target.h"

namespace fs = std::filesystem;

namespace {

std::string folder;
std::string store;
std::string whole; // an undamaged store

std::string read_bytes(const std::string& path)
{
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

void write_bytes(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

void remove_folder()
{
    std::error_code ignored;
    fs::remove_all(folder, ignored);
}

// Settings of many sizes, some of them changed and removed, so that the file has a tree of more than one level, free
// pages and two states.
void make_store()
{
    const char* const parent = std::getenv("TEST_TMPDIR");
    folder = std::string(parent != nullptr ? parent : "/tmp") + "/ipv6ctl-fuzz-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr)
        finding("no folder for the store");
    std::atexit(remove_folder);
    store = folder + "/ccfg.db";
    setenv("TESA_STORE", store.c_str(), 1);
    for (int round = 0; round < 3; ++round) {
        StoreWriter writer;
        if (!writer.begin(store.c_str()))
            finding("the undamaged store cannot be opened");
        for (int i = 0; i < 150; ++i) {
            SettingName name;
            name.assign("key" + std::to_string(i), i % 3 == 0 ? "lan0" : i % 3 == 1 ? "system" : "wan100");
            const std::string value(static_cast<std::size_t>(i * 7 % (i % 40 == 0 ? 1024 : 90)),
                                    static_cast<char>('a' + (i + round) % 26));
            const bool done = round == 1 && i % 4 == 0 ? writer.remove(name) : writer.put(name, value);
            if (!done)
                finding("the undamaged store cannot be filled");
        }
        if (!writer.commit())
            finding("the undamaged store cannot be committed");
    }
    whole = read_bytes(store);
}

// Three bytes: where the file is cut, all ones for nowhere. Then four bytes a change: the page, the place in it (with
// the highest bit among the first 64 bytes, where a page describes itself) and the bits to flip.
std::string damaged(const std::string& input)
{
    constexpr std::size_t page_size = 4096;
    const auto byte = [&input](std::size_t i) {
        return i < input.size() ? static_cast<std::size_t>(static_cast<unsigned char>(input[i])) : 0xFFU;
    };
    std::string bytes = whole;
    for (std::size_t i = 3; i + 3 < input.size(); i += 4) {
        const std::size_t place = byte(i + 1) << 8 | byte(i + 2);
        const std::size_t in_page = (place & 0x8000U) != 0 ? place % 64 : place % page_size;
        char& changed = bytes[byte(i) % (whole.size() / page_size) * page_size + in_page];
        changed = static_cast<char>(changed ^ static_cast<char>(byte(i + 3)));
    }
    const std::size_t cut = byte(0) << 16 | byte(1) << 8 | byte(2);
    if (cut != 0xFFFFFFU)
        bytes.resize(cut % (whole.size() + 1));
    return bytes;
}

void check_values(int tid)
{
    for (int i = 0; i < 150; ++i) {
        const std::string key = "key" + std::to_string(i);
        char value[1024];
        tesa_ccfg_get_str(tid,
                          i % 3 == 0   ? "lan0"
                          : i % 3 == 1 ? "system"
                                       : "wan100",
                          key.c_str(), value, sizeof value, "");
        if (const char* const fault = value_fault(value))
            finding("a value read from the store: " + std::string(fault) + ": " + value);
    }
}

void run(const Fields& fields)
{
    if (whole.empty())
        make_store();
    const std::string bytes = damaged(fields[0]);
    write_bytes(store, bytes);
    const int tid = tesa_start_transc();
    if (tid < 0) {
        if (read_bytes(store) != bytes)
            finding("a store that was refused is not as it was");
    } else {
        check_values(tid);
        tesa_ccfg_set_str(tid, "lan0", "key3", "new");
        tesa_ccfg_set_str(tid, "lan0", "added", std::string(900, 'n').c_str());
        tesa_ccfg_unset(tid, "system", "key1");
        const int committed = tesa_ccfg_commit(tid, 1, 0);
        tesa_end_transc(tid);
        if (committed == 0 && bytes == whole) {
            const int again = tesa_start_transc();
            if (again < 0 || tesa_ccfg_cmp_str(again, "lan0", "key3", "new") != 0)
                finding("an undamaged store does not keep a change");
            tesa_end_transc(again);
        }
    }
    if (fs::exists(store + ".new"))
        finding("an unfinished store is left behind");
}

} // namespace

const Target target = {file_separator, {std::string("\xff\xff\xff", 3)}, run};
