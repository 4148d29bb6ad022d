// Loads all parameters once and prints where the time went, as one line of JSON; all values in nanoseconds.
#include <stdio.h>

#include "params/prepare_parm.h"
#include "platform/config_store.h"
#include "timed_calls.h"

int main()
{
    const int tid = tesa_start_transc();
    if (tid == -1)
        return 2;
    const long long opening = spent.store_ns;
    spent = {};
    const long long start = wall_ns();
    const long long start_cpu = own_cpu_ns();
    prepare_parm(tid);
    const long long cpu = own_cpu_ns() - start_cpu;
    const long long wall = wall_ns() - start;
    printf("{\"wall\": %lld, \"cpu\": %lld, \"store\": %lld, \"store_calls\": %d, \"store_opening\": %lld, "
           "\"shell\": %lld, \"shell_cpu\": %lld, \"shell_calls\": %d}\n",
           wall, cpu, spent.store_ns, spent.store_calls, opening, spent.shell_ns, spent.shell_cpu, spent.shell_calls);
    return 0;
}
