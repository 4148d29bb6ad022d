// Input that is read to its end before anything is done with it.
#pragma once

// Copies all of `source`, called `name` in messages, into `scratch`. Returns false after a message: it cannot be read,
// or is more than a store can hold.
bool copy_input(int source, const char* name, int scratch);
