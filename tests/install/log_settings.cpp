// log_settings    initializes the library before and after it reads the settings of the log, and
// prints where it looks for them.
#include <nubrix/nubrix.h>

#include <cstdio>

int main()
{
    NubrixBaseContext *context = ContextFactory();
    bool done = context->initialize() == 0 && context->destroy() == 0;
    std::fprintf(stderr, "== settings\n");
    done = context->setLogFileSavePath(nullptr) == 0 && done;
    done = context->initialize() == 0 && context->destroy() == 0 && done;
    std::fprintf(stderr, "== %s\n", NUBRIX_INI_FILE_PATH);
    deleteContext(context);
    return done ? 0 : 1;
}
