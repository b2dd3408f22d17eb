// What the tests of threads share: a thread whose function a test writes, and its log lines.
#pragma once

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "base/ErrorNumber.h"
#include "base/ThreadImpl.h"
#include "tests/fakes/LogRecorder.h"
#include "tests/fakes/Waiting.h"

namespace nubrix {

class ThreadFixture : public testing::Test {
protected:
    ThreadFixture() { g_nubrixErrno = 0; }

    void makeThread(std::function<bool()> run, const char *name = "worker")
    {
        m_run = std::move(run);
        m_thread.reset(ThreadWrapper::createThread(&ThreadFixture::call, this, name));
    }
    /// A thread that runs until it is stopped.
    void startSteadyThread(const char *name = "worker")
    {
        makeThread([] { return true; }, name);
        ASSERT_EQ(m_thread->start(), 0);
    }
    /// A thread that has ended by itself; nobody has joined it.
    void startThreadThatEnds(const char *name = "worker")
    {
        makeThread([] { return false; }, name);
        ASSERT_EQ(m_thread->start(), 0);
        const std::string end = std::string(", name:") + name + "] Exit";
        ASSERT_TRUE(m_log.waitFor(testing::Field(&LogLine::text, testing::EndsWith(end))));
    }

    LogLine enterLine(const std::string &name) const
    {
        return infoLine("Begin run thread[id:" + id() + ", name:" + name + "] Enter");
    }
    LogLine exitLine(const std::string &name) const
    {
        return infoLine("Thread stop running[id:" + id() + ", name:" + name + "] Exit");
    }
    LogLine falseLine(const std::string &name) const
    {
        char handle[16];
        std::snprintf(handle, sizeof(handle), "%08x", m_handle.load());
        return infoLine("Thread run function returns false, id=" + id() + ", thread_=" + handle +
                        ", name=" + name);
    }
    static LogLine stoppedLine(const std::string &name)
    {
        return infoLine("Thread[" + name + "] Stoped");
    }
    std::string id() const { return std::to_string(m_id.load()); }

    std::atomic<int> m_id{0};  // of the running thread, from its first call on
    std::atomic<unsigned int> m_handle{0};
    LogRecorder m_log;
    std::function<bool()> m_run;
    std::unique_ptr<ThreadWrapper> m_thread;

private:
    static bool call(void *self)
    {
        auto *const fixture = static_cast<ThreadFixture *>(self);
        fixture->m_id = ThreadWrapper::getThreadId();
        fixture->m_handle = static_cast<unsigned int>(pthread_self());
        return fixture->m_run();
    }
};

}  // namespace nubrix
