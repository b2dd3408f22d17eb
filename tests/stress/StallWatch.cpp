#include "tests/stress/StallWatch.h"

#include <execinfo.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <utility>

namespace nubrix {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kInterval(250);
constexpr int kFrames = 60;

std::atomic<bool> g_printed{false};

int threadId()
{
    return static_cast<int>(::syscall(SYS_gettid));
}

void printOwnStack(int)
{
    void *frames[kFrames];
    const int count = ::backtrace(frames, kFrames);
    ::dprintf(STDERR_FILENO, "\nthread %d:\n", threadId());
    ::backtrace_symbols_fd(frames, count, STDERR_FILENO);
    g_printed = true;
}

bool printByDebugger()
{
    ::prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY, 0, 0, 0);
    std::string process = std::to_string(::getpid());
    const char *const arguments[] = {
        "gdb",  "-nx", "-batch", "-p", process.c_str(), "-ex", "thread apply all backtrace 40",
        nullptr};
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
    pid_t debugger = 0;
    const int failed = ::posix_spawnp(&debugger, arguments[0], &actions, nullptr,
                                      const_cast<char *const *>(arguments), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (failed != 0)
        return false;
    int status = -1;
    ::waitpid(debugger, &status, 0);
    return status == 0;
}

void printBySignal()
{
    struct sigaction action = {};
    action.sa_handler = &printOwnStack;
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGUSR2, &action, nullptr);
    for (const auto &task : std::filesystem::directory_iterator("/proc/self/task")) {
        const int thread = std::atoi(task.path().filename().c_str());
        g_printed = false;
        if (::syscall(SYS_tgkill, ::getpid(), thread, SIGUSR2) != 0)
            continue;
        const auto end = steady_clock::now() + std::chrono::seconds(1);
        while (!g_printed && steady_clock::now() < end)
            std::this_thread::yield();
    }
}

}  // namespace

void printAllStacks()
{
    if (!printByDebugger())
        printBySignal();
}

StallWatch::Call::Call(StallWatch &watch, const char *what)
    : m_watch(watch), m_what(what), m_thread(threadId())
{
    const std::lock_guard<std::mutex> guard(m_watch.m_mutex);
    m_place = m_watch.m_calls.insert(m_watch.m_calls.end(), this);
}

StallWatch::Call::~Call()
{
    const std::lock_guard<std::mutex> guard(m_watch.m_mutex);
    m_watch.m_calls.erase(m_place);
}

StallWatch::StallWatch(std::chrono::seconds limit, std::string about)
    : m_limit(limit), m_about(std::move(about)), m_thread([this] { run(); })
{
}

StallWatch::~StallWatch()
{
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_ending = true;
        m_changed.notify_all();
    }
    m_thread.join();
}

void StallWatch::run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_changed.wait_for(lock, kInterval, [this] { return m_ending; })) {
        if (!isStalled())
            continue;
        reportCalls();
        lock.unlock();
        printAllStacks();
        std::abort();
    }
}

bool StallWatch::isStalled()
{
    // Those that began first stand first.
    return !m_calls.empty() && steady_clock::now() - m_calls.front()->m_begin > m_limit;
}

void StallWatch::report()
{
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        reportCalls();
    }
    printAllStacks();
}

void StallWatch::reportCalls()
{
    std::fprintf(stderr, "%s: calls under way:\n", m_about.c_str());
    for (const Call *call : m_calls) {
        const auto age =
            std::chrono::duration_cast<milliseconds>(steady_clock::now() - call->m_begin);
        std::fprintf(stderr, "  thread %d: %s for %lld ms\n", call->m_thread, call->m_what,
                     static_cast<long long>(age.count()));
    }
}

}  // namespace nubrix
