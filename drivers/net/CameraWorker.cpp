#include "net/CameraWorker.h"

#include <pthread.h>

#include <exception>

#include "net/Report.h"

namespace nubrix {

namespace {

/// For what is left when nothing is asked of the camera any more.
constexpr std::chrono::milliseconds kRest{200};

}  // namespace

struct CameraWorker::Retired {
    std::mutex lock;
    std::unique_ptr<CameraWorker> first;  // under lock
};

/// Never destroyed: contexts may be closed by the destructors of others.
CameraWorker::Retired &CameraWorker::retired()
{
    static auto &all = *new Retired;
    return all;
}

CameraWorker::CameraWorker(const std::string &address, std::shared_ptr<CameraState> state)
    : m_state(std::move(state)), m_channel(address), m_thread(&CameraWorker::run, this)
{
    pthread_setname_np(m_thread.native_handle(), "nubrix-net-cam");
}

CameraWorker::~CameraWorker()
{
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_ending = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

bool CameraWorker::finishBy(Clock::time_point end)
{
    std::unique_lock<std::mutex> lock(m_lock);
    return m_changed.wait_until(lock, end, [&] { return m_tasks.empty() && !m_busy; });
}

/// Lets the worker do what can be done by its end; false when a frame callback holds it up.
bool CameraWorker::isFinished()
{
    const bool isDone = finishBy(m_end);
    m_channel.interrupt();
    return isDone || finishBy(Clock::now() + kRest);
}

void CameraWorker::retire(std::unique_ptr<CameraWorker> worker, Clock::time_point end) noexcept
{
    Retired &all = retired();
    worker->m_end = end;
    const std::lock_guard<std::mutex> guard(all.lock);
    worker->m_next = std::move(all.first);
    all.first = std::move(worker);
}

void CameraWorker::joinFinished() noexcept
{
    Retired &all = retired();
    const std::lock_guard<std::mutex> guard(all.lock);
    for (std::unique_ptr<CameraWorker> *link = &all.first; *link;) {
        if (!(*link)->isFinished()) {
            link = &(*link)->m_next;
            continue;
        }
        const std::unique_ptr<CameraWorker> finished = std::move(*link);
        *link = std::move(finished->m_next);
    }
}

void CameraWorker::joinAll() noexcept
{
    Retired &all = retired();
    for (;;) {
        std::unique_ptr<CameraWorker> worker;
        {
            const std::lock_guard<std::mutex> guard(all.lock);
            worker = std::move(all.first);
            if (!worker)
                return;
            all.first = std::move(worker->m_next);
        }
        worker->isFinished();
    }
}

void CameraWorker::push(Task task)
{
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_tasks.push_back(std::move(task));
    }
    m_changed.notify_all();
}

void CameraWorker::run()
{
    auto beat = Clock::now() + ControlChannel::kBeat;
    std::unique_lock<std::mutex> lock(m_lock);
    for (;;) {
        const auto hasWork = [&] { return m_ending || !m_tasks.empty(); };
        if (!m_changed.wait_until(lock, beat, hasWork)) {
            lock.unlock();
            keepControl();
            lock.lock();
            beat = Clock::now() + ControlChannel::kBeat;
            continue;
        }
        if (m_tasks.empty())
            return;
        Task task = std::move(m_tasks.front());
        m_tasks.pop_front();
        m_busy = true;
        lock.unlock();
        task();
        task = nullptr;  // what it owned goes without the lock
        lock.lock();
        m_busy = false;
        m_changed.notify_all();
    }
}

void CameraWorker::keepControl()
try {
    if (!m_channel.keepControl())
        m_state->setGone();
    noteHealth();
} catch (const std::exception &) {
    // No memory now; the next beat may have some.
}

void CameraWorker::noteHealth()
{
    if (m_channel.isSilent())
        m_state->noteSilence();
    else if (m_channel.hasHeard())
        m_state->noteAnswer();
}

}  // namespace nubrix
