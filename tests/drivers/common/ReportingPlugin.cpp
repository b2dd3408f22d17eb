// A plug-in next to the log plug-in, which reports one line at each level.
#include "common/Report.h"
#include "nubrix/export.h"

extern "C" NUBRIX_API void reportAtEachLevel()
{
    const nubrix::Reporter reporter = {"Module", "camera 1"};
    reporter.warning("first");
    reporter.error("second");
    reporter.milestone("third");
}
