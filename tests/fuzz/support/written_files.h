// What the program may have written: each file that a daemon or the packet filter parses holds the statements of its
// template in their order and nothing else.
#pragma once

// Checks every such file that exists now; a finding when one does not hold.
void check_written_files();
