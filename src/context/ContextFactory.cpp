#include <atomic>

#include "context/Context.h"

// A plain pointer, not a local static: after deleteContext the next call makes a new context.
extern "C" {
NUBRIX_API std::atomic<nubrix::Context *> g_nubrixContext{nullptr};

NubrixBaseContext *ContextFactory()
{
    nubrix::Context *context = g_nubrixContext;
    if (!context) {
        try {
            context = new nubrix::Context;
        } catch (...) {
            return nullptr;
        }
        g_nubrixContext = context;
    }
    return context;
}

void deleteContext(NubrixBaseContext *context)
{
    if (context == g_nubrixContext)
        g_nubrixContext = nullptr;
    delete context;
}

int nubrixCopyDeviceList(typedefNubrixeviceAttribute *records, unsigned int *count)
{
    nubrix::Context *const context = g_nubrixContext;
    return context ? context->copyDeviceList(records, count) : nubrix::refuseUninitialized();
}
}
