// Who may use the store's file when: locks that end with their process, so that none can be left behind.
//
// The locks lie on bytes far behind the file's contents, one for writers and one for each of the newest states. A
// reader marks the state that it reads. A commit may overwrite pages that the state before the newest one still used;
// a writer therefore waits, once it is the only one, until no mark but that of the newest state is left. A mark lasts
// for the few microseconds that it takes to copy the settings, and new readers always mark the newest state, so that
// neither waits for an open transaction.
#pragma once

#include <stddef.h>

// Waits until the process is the only writer. `fd` must be open for writing. Returns false with errno set.
bool lock_writer(int fd);

// Waits until nobody reads a state other than `newest`. Returns false with errno set: ETIMEDOUT when a reader has been
// there for 10 seconds, as one that a person has stopped.
bool await_old_readers(int fd, size_t newest);

// Marks state `number` as being read, or removes the mark. Never waits. Returns false with errno set.
bool mark_state(int fd, size_t number);
bool unmark_state(int fd, size_t number);
