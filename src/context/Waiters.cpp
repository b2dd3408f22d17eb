#include "context/Waiters.h"

#include "base/LogCall.h"
#include "base/ThreadWrapper.h"
#include "stream/MultiStreamsListener.h"

namespace nubrix {

std::shared_ptr<MultiStreamsListener> Waiters::ofThisThread()
{
    const int thread = ThreadWrapper::getThreadId();
    const auto key = static_cast<unsigned int>(thread);
    {
        const MutexLock guard(m_mutex);
        const auto found = m_listeners.find(key);
        if (found != m_listeners.end())
            return found->second;
    }
    logPrint(kLogMilestone, "StramListener ThradID = %d", thread);
    disconnectIdle();
    auto created = std::make_shared<MultiStreamsListener>();
    const MutexLock guard(m_mutex);
    m_listeners.emplace(key, created);
    return created;
}

// Or each thread that has ever waited would cost its streams a call for each frame. Those that wait
// again connect again.
void Waiters::disconnectIdle()
{
    std::vector<std::shared_ptr<MultiStreamsListener>> connected;
    {
        const MutexLock guard(m_mutex);
        for (const auto &[thread, listener] : m_listeners) {
            if (listener->isConnected())
                connected.push_back(listener);
        }
    }
    for (const auto &listener : connected)
        listener->disconnectUnlessWaiting();
}

void Waiters::wakeAll()
{
    const MutexLock guard(m_mutex);
    for (const auto &listener : m_listeners)
        listener.second->wake();
}

void Waiters::clear()
{
    Listeners ended;  // outlives the lock
    const MutexLock guard(m_mutex);
    ended.swap(m_listeners);
}

}  // namespace nubrix
