// What opening, committing and ending a transaction costs that touches nothing.
#include "platform/config_store.h"

int main()
{
    const int tid = tesa_start_transc();
    if (tid == -1)
        return 2;
    const bool committed = tesa_ccfg_commit(tid, 1, 0) == 0;
    return committed && tesa_end_transc(tid) == 0 ? 0 : 2;
}
