// A nameless file that lasts as long as it is open.
#pragma once

// Opens an empty scratch file for reading and writing, close-on-exec. Returns its descriptor, or -1 with errno set.
int open_scratch_file();

// The same on the disk below `folder`: what open_scratch_file falls back to when the kernel has no memory files.
int open_scratch_file_in(const char* folder);
