// A log plug-in that lacks the function of number NUBRIX_TEST_MISSING (0 to 8); none of the others
// may be used then, so each ends the process.
#include <cstdlib>

#include "nubrix/log_driver.h"

extern "C" {

#if NUBRIX_TEST_MISSING != 0
int nubrixLogWrite(const char *, int, int, int, int, const char *)
{
    std::abort();
}
#endif

#if NUBRIX_TEST_MISSING != 1
int nubrixLogSimplify(const char *, int, const char *)
{
    std::abort();
}
#endif

#if NUBRIX_TEST_MISSING != 2
int nubrixLogErrno()
{
    std::abort();
}
#endif

#if NUBRIX_TEST_MISSING != 3
int nubrixLogConfigFileWriter(int)
{
    std::abort();
}
#endif

#if NUBRIX_TEST_MISSING != 4
int nubrixLogConfigConsoleWriter(int)
{
    std::abort();
}
#endif

#if NUBRIX_TEST_MISSING != 5
int nubrixLogSetFilePathEntry(const char *)
{
    std::abort();
}
#endif

#if NUBRIX_TEST_MISSING != 6
int nubrixLogSetlogLevel(int)
{
    std::abort();
}
#endif

#if NUBRIX_TEST_MISSING != 7
int nubrixLogSetMaxSize(unsigned int)
{
    std::abort();
}
#endif

#if NUBRIX_TEST_MISSING != 8
int nubrixLogGetGlobalLevel()
{
    std::abort();
}
#endif
}
