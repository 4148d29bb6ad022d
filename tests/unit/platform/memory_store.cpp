#include "platform/memory_store.h"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>

#include "frame/text.h"
#include "platform/config_store.h"
#include "platform/touched_settings.h"

namespace {

std::string name_of(int tid, const char* sect, const char* key)
{
    EXPECT_EQ(tid, test_tid);
    std::string name = std::string(key) + "@" + sect;
    note_setting(name);
    return name;
}

bool is_value(const std::string& value)
{
    const auto is_control = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; };
    return value.size() <= 1023 && std::none_of(value.begin(), value.end(), is_control);
}

const std::string* find(const std::string& name)
{
    const auto& settings = memory_store().settings;
    const auto found = settings.find(name);
    return found != settings.end() ? &found->second : nullptr;
}

} // namespace

std::string MemoryStore::value(const std::string& name) const
{
    const auto found = settings.find(name);
    return found != settings.end() ? found->second : "(missing)";
}

MemoryStore& memory_store()
{
    static MemoryStore store;
    return store;
}

int tesa_start_transc(void)
{
    return test_tid;
}

int tesa_end_transc(int tid)
{
    memory_store().changes.emplace_back("end");
    return tid == test_tid ? 0 : -1;
}

int tesa_ccfg_get_str(int tid, const char* sect, const char* key, char* buf, int size, const char* def)
{
    const std::string* const value = find(name_of(tid, sect, key));
    const std::string text = value != nullptr ? *value : def;
    copy_text(buf, static_cast<std::size_t>(size), text.data(), text.size());
    return value != nullptr ? 0 : -1;
}

long tesa_ccfg_get_long(int tid, const char* sect, const char* key, long def)
{
    const std::string* const value = find(name_of(tid, sect, key));
    return value != nullptr ? std::strtol(value->c_str(), nullptr, 10) : def;
}

int tesa_ccfg_set_str(int tid, const char* sect, const char* key, const char* value)
{
    const std::string name = name_of(tid, sect, key);
    if (!is_value(value))
        return -1;
    memory_store().changes.push_back("set " + name + "=" + value);
    memory_store().settings[name] = value;
    return 0;
}

int tesa_ccfg_set_long(int tid, const char* sect, const char* key, long value)
{
    return tesa_ccfg_set_str(tid, sect, key, std::to_string(value).c_str());
}

int tesa_ccfg_cmp_str(int tid, const char* sect, const char* key, const char* text)
{
    const std::string* const value = find(name_of(tid, sect, key));
    return (value != nullptr ? *value : "").compare(text);
}

int tesa_ccfg_unset(int tid, const char* sect, const char* key)
{
    const std::string name = name_of(tid, sect, key);
    memory_store().changes.push_back("unset " + name);
    memory_store().settings.erase(name);
    return 0;
}

int tesa_ccfg_commit(int tid, int flag, int reserved)
{
    EXPECT_EQ(tid, test_tid);
    memory_store().changes.push_back("commit " + std::to_string(flag) + " " + std::to_string(reserved));
    return 0;
}
