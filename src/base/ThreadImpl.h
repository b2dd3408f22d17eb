// The thread on POSIX threads.
#pragma once

#include <pthread.h>

#include <atomic>
#include <memory>
#include <string>

#include "base/CriticalSectionWrapper.h"
#include "base/EventWrapper.h"
#include "base/ThreadWrapper.h"

namespace nubrix {

class ThreadImpl final : public ThreadWrapper {
public:
    ThreadImpl(bool (*run)(void *), void *argument, const char *name);
    ~ThreadImpl() override;

    int start() override;
    int stop() override;
    int setPriority(ThreadPriority priority) override;

private:
    enum class Start : int { kPending, kSucceeded, kGivenUp };

    static void *startThread(void *self);
    int launch();
    void decide(Start result);
    bool announce();
    void loop();
    void Run();

    bool (*const m_run)(void *);
    void *const m_argument;
    const std::unique_ptr<EventWrapper> m_startEvent;
    const std::unique_ptr<CriticalSectionWrapper> m_lock;
    bool m_running NUBRIX_GUARDED_BY(*m_lock) = false;
    bool m_started NUBRIX_GUARDED_BY(*m_lock) = false;
    bool m_changing NUBRIX_GUARDED_BY(*m_lock) = false;  // a start() or a stop() is under way
    std::atomic<Start> m_start{Start::kPending};  // the thread waits until start() has decided
    std::atomic<int> m_threadId{-1};
    pthread_attr_t m_attributes = {};
    bool m_attributesMade = false;  // these three belong to the start() or stop() under way
    std::atomic<pthread_t> m_handle{0};
    const std::string m_name;
};

}  // namespace nubrix
