// A library that is no plug-in: it lacks "driverInstance".
#include "nubrix/export.h"

extern "C" NUBRIX_API int nubrixTestNothing();

int nubrixTestNothing()
{
    return 0;
}
