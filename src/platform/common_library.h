// What the device's common library does for every program of the firmware.
#pragma once

extern "C" {

// Runs one line through the shell and waits for it. Returns the shell's exit status 0..255, 128 + N when signal N
// ended it, -1 when it could not be run.
int osSystem(const char* line);

// Runs one line through the shell and copies its standard output into `buf`, cut to `size` - 1 bytes and ended by
// a NUL. Returns the number of bytes copied, negative only when the line could not be run.
int osSystem_GetOutput(const char* line, char* buf, int size);

// Removes every leading and trailing character of `text` that `chars` contains, in place.
void utilStrTrimChar(char* text, const char* chars);
}
