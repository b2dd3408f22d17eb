#include "base/Clock.h"

#include <sys/time.h>

#include <cstdio>
#include <ctime>

namespace nubrix {

std::int64_t timeNanos()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

std::int64_t time()
{
    return timeNanos() / 1000000;
}

std::int64_t timeMicros()
{
    return timeNanos() / 1000;
}

int sleepMs(int ms)
{
    timespec pause = {};
    pause.tv_sec = ms / 1000;
    pause.tv_nsec = (ms % 1000) * 1000000L;
    return nanosleep(&pause, nullptr);
}

unsigned int timeDiff(unsigned int a, unsigned int b)
{
    return a - b;
}

std::string localTimeFormat()
{
    timeval now = {};
    gettimeofday(&now, nullptr);
    tm local = {};
    localtime_r(&now.tv_sec, &local);
    char text[1024] = {};
    std::snprintf(text, sizeof(text), "%04d%02d%02d_%02d:%02d:%02d:%d", local.tm_year + 1900,
                  local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                  static_cast<int>(now.tv_usec / 1000));
    return text;
}

}  // namespace nubrix
