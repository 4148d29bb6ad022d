// The store's file, damaged or made of other settings: it is taken only when every byte of it is as a store writes it,
// and refused, with the file left as it is, otherwise.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <unistd.h>

#include "platform/config_store.h"
#include "setting_name.h"
#include "store_format.h"
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

// Settings of many sizes, some of them changed and removed.
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

// Three bytes: where the file is cut, all ones for nowhere. Then four bytes a change: a block of 4096 bytes, the place
// in it (with the highest bit among its first 64 bytes, where the head is) and the bits to flip.
std::string damaged(const std::string& input)
{
    constexpr std::size_t block = 4096;
    const auto byte = [&input](std::size_t i) {
        return i < input.size() ? static_cast<std::size_t>(static_cast<unsigned char>(input[i])) : 0xFFU;
    };
    std::string bytes = whole;
    for (std::size_t i = 3; i + 3 < input.size(); i += 4) {
        const std::size_t place = byte(i + 1) << 8 | byte(i + 2);
        const std::size_t in_block = (place & 0x8000U) != 0 ? place % 64 : place % block;
        char& changed = bytes[(byte(i) * block + in_block) % whole.size()];
        changed = static_cast<char>(changed ^ static_cast<char>(byte(i + 3)));
    }
    const std::size_t cut = byte(0) << 16 | byte(1) << 8 | byte(2);
    if (cut != 0xFFFFFFU)
        bytes.resize(cut % (whole.size() + 1));
    return bytes;
}

std::string with_head(const std::string& lines)
{
    char head[64];
    std::snprintf(head, sizeof head, "#ccfg 1 %08zx %016llx\n", lines.size(),
                  static_cast<unsigned long long>(content_sum(lines)));
    return head + lines;
}

using Settings = std::map<std::string, std::string>; // "key@section=" to value

bool is_plain_name(const std::string& text)
{
    constexpr char plain[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.-";
    return !text.empty() && text.size() <= 63 && text.find_first_not_of(plain) == std::string::npos;
}

// A plain reading of a store's file. False when it is none.
bool read_plainly(const std::string& bytes, Settings& settings)
{
    const std::size_t end_of_head = bytes.find('\n');
    if (end_of_head == std::string::npos)
        return false;
    const std::string lines = bytes.substr(end_of_head + 1);
    if (bytes != with_head(lines) || (!lines.empty() && lines.back() != '\n'))
        return false;
    std::string previous;
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);) {
        const std::size_t equals = line.find('=');
        const std::size_t at = line.find('@');
        if (equals == std::string::npos || at > equals)
            return false;
        const std::string record = line.substr(0, equals + 1);
        const std::string value = line.substr(equals + 1);
        const bool is_clean = std::all_of(value.begin(), value.end(),
                                          [](char c) { return static_cast<unsigned char>(c) >= 0x20 && c != 0x7f; });
        if (!is_plain_name(line.substr(0, at)) || !is_plain_name(line.substr(at + 1, equals - at - 1)) || !is_clean
            || value.size() > 1023 || record <= previous)
            return false;
        settings[record] = value;
        previous = record;
    }
    return true;
}

void expect_settings(int tid, const Settings& settings)
{
    for (const auto& [record, value] : settings) {
        const std::size_t at = record.find('@');
        const std::string key = record.substr(0, at);
        const std::string sect = record.substr(at + 1, record.size() - at - 2);
        char stored[1024];
        if (tesa_ccfg_get_str(tid, sect.c_str(), key.c_str(), stored, sizeof stored, "") != 0 || value != stored)
            finding("not the value that the file holds: " + record);
    }
}

void use(Settings settings)
{
    const int tid = tesa_start_transc();
    if (tid < 0)
        finding("a whole store is refused");
    expect_settings(tid, settings);
    tesa_ccfg_set_str(tid, "lan0", "key3", "new");
    tesa_ccfg_set_str(tid, "lan0", "added", std::string(900, 'n').c_str());
    tesa_ccfg_unset(tid, "system", "key1");
    if (tesa_ccfg_commit(tid, 1, 0) != 0)
        finding("a whole store cannot be changed");
    tesa_end_transc(tid);
    settings["key3@lan0="] = "new";
    settings["added@lan0="] = std::string(900, 'n');
    settings.erase("key1@system=");
    Settings stored;
    if (!read_plainly(read_bytes(store), stored) || stored != settings)
        finding("a commit did not leave what it should");
}

void run(const Fields& fields)
{
    if (whole.empty())
        make_store();
    const std::string bytes = fields[1].empty() ? damaged(fields[0]) : with_head(fields[1]);
    write_bytes(store, bytes);
    Settings settings;
    if (read_plainly(bytes, settings)) {
        use(settings);
    } else {
        StoreWriter writer;
        if (tesa_start_transc() >= 0 || writer.begin(store.c_str()))
            finding("a store that is not whole is taken");
        if (read_bytes(store) != bytes)
            finding("a store that was refused is not as it was");
    }
    if (fs::exists(store + ".new"))
        finding("an unfinished store is left behind");
}

} // namespace

// The damage, or the settings of another store.
const Target target = {file_separator, {std::string("\xff\xff\xff", 3), ""}, run};
