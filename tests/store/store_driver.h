// Helpers of the store's tests, one process for thousands of cases. Each prints one line of `name=number` words and
// returns an exit status: 0 when all held.
#pragma once

#include <string>
#include <vector>

// Damages the store in every way of `kind` ("bits": each `step`-th bit flipped alone, "cuts": each `step`-th shorter
// length, "noise": `step` times some random bytes, sectors or moved blocks) and looks at it as a transaction, a reader
// and a commit do. Each must refuse it and leave the file as it is. The undamaged store is there again at the end.
int damage_store(const std::string& kind, unsigned long step);

// `processes` at a time make `commits` commits each to overlapping keys. None may be lost.
int run_writers(int processes, int commits);

// Runs a program and kills it at its `stop`-th stop, where each system call has one before and one after it. Prints
// `killed`, or `ended` with the exit status and the number of stops.
int kill_at_stop(long stop, const std::vector<std::string>& command);
