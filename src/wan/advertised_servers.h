// Name servers learned from router advertisements (RFC 8106), as the RDNSS daemon leaves them in /tmp/rdnssd.
#pragma once

// Takes the servers of the first line as the primary and those of later lines as the secondary one, into the record and
// the store. Returns 1 when there was at least one, 0 otherwise.
int get_rdnssd_dns(int tid);
