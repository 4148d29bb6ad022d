// How long the calls of the platform took.
#pragma once

// Nanoseconds of the wall clock.
long long wall_ns();

// Nanoseconds that this process has spent on a processor, in the kernel too; other processes not.
long long own_cpu_ns();

struct SpentTime {
    long long store_ns = 0;  // in the configuration store, by the wall clock
    long long shell_ns = 0;  // in the two shell calls, by the wall clock
    long long shell_cpu = 0; // of it, this process's own on a processor: starting a shell and waiting for it
    int store_calls = 0;
    int shell_calls = 0;
};

extern SpentTime spent;
