#include "base/ErrorNumber.h"

#include "nubrix/context.h"

extern "C" {
NUBRIX_API unsigned int g_nubrixErrno = 0;

unsigned int *ErrnoLocal()
{
    return &g_nubrixErrno;
}

const char *errorGetErrorCodeString(int /*code*/)
{
    return nullptr;
}
}

unsigned int *NubrixErrorNumber::getErrnoLocation()
{
    return &g_nubrixErrno;
}
