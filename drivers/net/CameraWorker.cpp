#include "net/CameraWorker.h"

#include <pthread.h>

#include <iterator>
#include <list>

namespace nubrix {

CameraWorker::CameraWorker() : m_thread(&CameraWorker::run, this)
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

bool CameraWorker::finishWithin(std::chrono::milliseconds patience)
{
    std::unique_lock<std::mutex> lock(m_lock);
    for (;;) {
        if (m_tasks.empty() && !m_busy)
            return true;
        const auto now = std::chrono::steady_clock::now();
        const auto end = (m_busy ? m_begun : now) + patience;
        if (now >= end)
            return false;
        m_changed.wait_until(lock, end);
    }
}

bool CameraWorker::isDone()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_tasks.empty() && !m_busy;
}

void CameraWorker::retire(std::unique_ptr<CameraWorker> worker)
{
    // Never destroyed: contexts may be closed by the destructors of others, and a silent camera
    // must not hold up the end of the process.
    static auto &lock = *new std::mutex;
    static auto &retired = *new std::list<std::unique_ptr<CameraWorker>>;  // under lock
    std::list<std::unique_ptr<CameraWorker>> finished;                     // joined without it
    const std::lock_guard<std::mutex> guard(lock);
    retired.push_back(std::move(worker));
    for (auto each = retired.begin(); each != retired.end();) {
        const auto next = std::next(each);
        if ((*each)->isDone())
            finished.splice(finished.end(), retired, each);
        each = next;
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
    std::unique_lock<std::mutex> lock(m_lock);
    for (;;) {
        m_changed.wait(lock, [&] { return m_ending || !m_tasks.empty(); });
        if (m_tasks.empty())
            return;
        Task task = std::move(m_tasks.front());
        m_tasks.pop_front();
        m_busy = true;
        m_begun = std::chrono::steady_clock::now();
        lock.unlock();
        task();
        task = nullptr;  // what it owned goes without the lock
        lock.lock();
        m_busy = false;
        m_changed.notify_all();
    }
}

}  // namespace nubrix
