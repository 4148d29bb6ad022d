// The device's configuration store: text settings grouped in sections, changed in transactions.
//
// Written `key@section` in this project's texts. A transaction sees its own changes over the newest committed state;
// what it did not commit is dropped when the process ends.
#pragma once

extern "C" {

// Opens a transaction. Never waits for another one. Returns its handle, or -1 when the store can neither be opened
// nor created.
int tesa_start_transc(void);

// Ends a transaction and drops what was not committed. Returns 0, or -1 for an unknown handle.
int tesa_end_transc(int tid);

// Copies the value of `key@sect` into `buf` of `size` bytes, or `def` when the key is missing. The text is cut to
// `size` - 1 bytes and always ends in a NUL. Returns 0 when the key exists, -1 when `def` was taken.
int tesa_ccfg_get_str(int tid, const char* sect, const char* key, char* buf, int size, const char* def);

// Returns the value of `key@sect` read as strtol(3) reads it in base 10, or `def` when the key is missing.
long tesa_ccfg_get_long(int tid, const char* sect, const char* key, long def);

// Sets `key@sect`. Section and key: 1 to 63 bytes of A-Za-z0-9_.- each; value: up to 1023 bytes without control
// characters. Returns 0, or -1 with nothing changed.
int tesa_ccfg_set_str(int tid, const char* sect, const char* key, const char* value);

// Sets `key@sect` to the decimal text of `value`. Returns as tesa_ccfg_set_str does.
int tesa_ccfg_set_long(int tid, const char* sect, const char* key, long value);

// Compares the value of `key@sect` with `text`; a missing key compares as the empty text. Returns 0 when equal.
int tesa_ccfg_cmp_str(int tid, const char* sect, const char* key, const char* text);

// Removes `key@sect`. Returns 0, also when it was missing; -1 for a malformed name.
int tesa_ccfg_unset(int tid, const char* sect, const char* key);

// Makes the transaction's changes permanent: only the keys that it touched, the last writer of a key wins, and
// nothing is written when nothing differs. `flag` and `reserved` belong to the store. Returns 0, or -1.
int tesa_ccfg_commit(int tid, int flag, int reserved);
}
