// Stands for the libraries of a device's maker: it answers what src/platform declares, and nothing else. The program is
// linked against it and never run on it.
#include "platform/common_library.h"
#include "platform/config_store.h"

int tesa_start_transc(void)
{
    return -1;
}

int tesa_end_transc(int)
{
    return -1;
}

int tesa_ccfg_get_str(int, const char*, const char*, char*, int, const char*)
{
    return -1;
}

long tesa_ccfg_get_long(int, const char*, const char*, long def)
{
    return def;
}

int tesa_ccfg_set_str(int, const char*, const char*, const char*)
{
    return -1;
}

int tesa_ccfg_set_long(int, const char*, const char*, long)
{
    return -1;
}

int tesa_ccfg_cmp_str(int, const char*, const char*, const char*)
{
    return -1;
}

int tesa_ccfg_unset(int, const char*, const char*)
{
    return -1;
}

int tesa_ccfg_commit(int, int, int)
{
    return -1;
}

int osSystem(const char*)
{
    return -1;
}

int osSystem_GetOutput(const char*, char*, int)
{
    return -1;
}

void utilStrTrimChar(char*, const char*)
{
}
