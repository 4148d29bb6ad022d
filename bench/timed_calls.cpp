// The platform's calls as the program knows them, timed, in front of the stock platform under other names.
#include "timed_calls.h"

#include <time.h>

#include "platform/common_library.h"
#include "platform/config_store.h"

SpentTime spent;

namespace {

long long read_clock(clockid_t clock)
{
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<long long>(time.tv_sec) * 1000000000 + time.tv_nsec;
}

class StoreCall {
public:
    StoreCall() = default;
    ~StoreCall()
    {
        spent.store_ns += wall_ns() - start_;
        ++spent.store_calls;
    }
    StoreCall(const StoreCall&) = delete;
    StoreCall& operator=(const StoreCall&) = delete;

private:
    long long start_ = wall_ns();
};

class ShellCall {
public:
    ShellCall() = default;
    ~ShellCall()
    {
        spent.shell_cpu += own_cpu_ns() - start_cpu_;
        spent.shell_ns += wall_ns() - start_;
        ++spent.shell_calls;
    }
    ShellCall(const ShellCall&) = delete;
    ShellCall& operator=(const ShellCall&) = delete;

private:
    long long start_ = wall_ns();
    long long start_cpu_ = own_cpu_ns();
};

} // namespace

long long wall_ns()
{
    return read_clock(CLOCK_MONOTONIC);
}

long long own_cpu_ns()
{
    return read_clock(CLOCK_PROCESS_CPUTIME_ID);
}

extern "C" {

int stock_tesa_start_transc(void);
int stock_tesa_end_transc(int tid);
int stock_tesa_ccfg_get_str(int tid, const char* sect, const char* key, char* buf, int size, const char* def);
long stock_tesa_ccfg_get_long(int tid, const char* sect, const char* key, long def);
int stock_tesa_ccfg_set_str(int tid, const char* sect, const char* key, const char* value);
int stock_tesa_ccfg_set_long(int tid, const char* sect, const char* key, long value);
int stock_tesa_ccfg_cmp_str(int tid, const char* sect, const char* key, const char* text);
int stock_tesa_ccfg_unset(int tid, const char* sect, const char* key);
int stock_tesa_ccfg_commit(int tid, int flag, int reserved);
int stock_osSystem(const char* line);
int stock_osSystem_GetOutput(const char* line, char* buf, int size);

int tesa_start_transc(void)
{
    const StoreCall call;
    return stock_tesa_start_transc();
}

int tesa_end_transc(int tid)
{
    const StoreCall call;
    return stock_tesa_end_transc(tid);
}

int tesa_ccfg_get_str(int tid, const char* sect, const char* key, char* buf, int size, const char* def)
{
    const StoreCall call;
    return stock_tesa_ccfg_get_str(tid, sect, key, buf, size, def);
}

long tesa_ccfg_get_long(int tid, const char* sect, const char* key, long def)
{
    const StoreCall call;
    return stock_tesa_ccfg_get_long(tid, sect, key, def);
}

int tesa_ccfg_set_str(int tid, const char* sect, const char* key, const char* value)
{
    const StoreCall call;
    return stock_tesa_ccfg_set_str(tid, sect, key, value);
}

int tesa_ccfg_set_long(int tid, const char* sect, const char* key, long value)
{
    const StoreCall call;
    return stock_tesa_ccfg_set_long(tid, sect, key, value);
}

int tesa_ccfg_cmp_str(int tid, const char* sect, const char* key, const char* text)
{
    const StoreCall call;
    return stock_tesa_ccfg_cmp_str(tid, sect, key, text);
}

int tesa_ccfg_unset(int tid, const char* sect, const char* key)
{
    const StoreCall call;
    return stock_tesa_ccfg_unset(tid, sect, key);
}

int tesa_ccfg_commit(int tid, int flag, int reserved)
{
    const StoreCall call;
    return stock_tesa_ccfg_commit(tid, flag, reserved);
}

int osSystem(const char* line)
{
    const ShellCall call;
    return stock_osSystem(line);
}

int osSystem_GetOutput(const char* line, char* buf, int size)
{
    const ShellCall call;
    return stock_osSystem_GetOutput(line, buf, size);
}
}
