#include "base/LogCall.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace nubrix {

namespace {

constexpr int kTextSize = 2048;

std::atomic<decltype(LogSink::simplify)> g_simplify{nullptr};
std::atomic<decltype(LogSink::write)> g_write{nullptr};
char g_module[64];

// A log plug-in without memory does not fail what is logged.
template <class Call>
int withoutExceptions(Call call) noexcept
{
    try {
        return call();
    } catch (...) {
        return -1;
    }
}

}  // namespace

int logPrint(int level, const char *format, ...)
{
    const auto simplify = g_simplify.load(std::memory_order_acquire);
    if (!simplify)
        return 0;
    char text[kTextSize];
    text[0] = '\0';
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    return withoutExceptions([&] { return simplify(g_module, level, text); });
}

int logWrite(int w1, int w2, int w3, int w4, const char *format, ...)
{
    const auto write = g_write.load(std::memory_order_acquire);
    if (!write)
        return 0;
    char text[kTextSize];
    text[0] = '\0';
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    return withoutExceptions([&] { return write(g_module, w1, w2, w3, w4, text); });
}

void setLogSink(const LogSink &sink, const char *module)
{
    if (module)
        std::snprintf(g_module, sizeof(g_module), "%s", module);
    g_simplify.store(sink.simplify, std::memory_order_release);
    g_write.store(sink.write, std::memory_order_release);
}

}  // namespace nubrix
