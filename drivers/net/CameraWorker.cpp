#include "net/CameraWorker.h"

#include <pthread.h>

#include <algorithm>
#include <iterator>
#include <list>

namespace nubrix {

namespace {

constexpr std::chrono::milliseconds kLook{20};

}  // namespace

struct CameraWorker::Retired {
    std::mutex lock;
    std::list<std::unique_ptr<CameraWorker>> workers;  // under lock
};

/// Never destroyed: contexts may be closed by the destructors of others, and a silent camera must
/// not hold up the end of the process.
CameraWorker::Retired &CameraWorker::retired()
{
    static auto &all = *new Retired;
    return all;
}

CameraWorker::CameraWorker(std::string address)
    : m_address(std::move(address)), m_thread(&CameraWorker::run, this)
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

CameraWorker::Clock::time_point CameraWorker::runningSince()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_busy ? m_begun : Clock::now();
}

bool CameraWorker::isDone()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_tasks.empty() && !m_busy;
}

void CameraWorker::retire(std::unique_ptr<CameraWorker> worker)
{
    std::list<std::unique_ptr<CameraWorker>> finished;  // joined without the lock
    Retired &all = retired();
    const std::lock_guard<std::mutex> guard(all.lock);
    all.workers.push_back(std::move(worker));
    for (auto each = all.workers.begin(); each != all.workers.end();) {
        const auto next = std::next(each);
        if ((*each)->isDone())
            finished.splice(finished.end(), all.workers, each);
        each = next;
    }
}

bool CameraWorker::awaitRetired(const std::string &address, Clock::time_point end)
{
    Retired &all = retired();
    const auto isBusy = [&] {
        const std::lock_guard<std::mutex> guard(all.lock);
        return std::any_of(all.workers.begin(), all.workers.end(), [&](const auto &worker) {
            return worker->m_address == address && !worker->isDone();
        });
    };
    while (isBusy()) {
        if (Clock::now() >= end)
            return false;
        std::this_thread::sleep_for(kLook);
    }
    return true;
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
        m_begun = Clock::now();
        lock.unlock();
        task();
        task = nullptr;  // what it owned goes without the lock
        lock.lock();
        m_busy = false;
        m_changed.notify_all();
    }
}

}  // namespace nubrix
