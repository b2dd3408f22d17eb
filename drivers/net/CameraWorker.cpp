#include "net/CameraWorker.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <list>

namespace nubrix {

namespace {

constexpr std::chrono::milliseconds kFarewell{700};

/// The workers that still wait for cameras which do not answer.
class Retired {
public:
    void take(std::unique_ptr<CameraWorker> worker)
    {
        std::future<void> done = worker->submit([] {});
        const bool isDone = done.wait_for(kFarewell) == std::future_status::ready;
        std::list<Entry> finished;  // joined without the lock
        const std::lock_guard<std::mutex> lock(m_lock);
        if (!isDone)
            m_entries.push_back({std::move(worker), std::move(done)});
        for (auto entry = m_entries.begin(); entry != m_entries.end();) {
            const auto next = std::next(entry);
            if (entry->done.wait_for(std::chrono::seconds(0)) == std::future_status::ready)
                finished.splice(finished.end(), m_entries, entry);
            entry = next;
        }
    }

private:
    struct Entry {
        std::unique_ptr<CameraWorker> worker;
        std::future<void> done;
    };

    std::mutex m_lock;
    std::list<Entry> m_entries;  // under m_lock
};

}  // namespace

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
    m_changed.notify_one();
    m_thread.join();
}

void CameraWorker::retire(std::unique_ptr<CameraWorker> worker)
{
    static Retired retired;
    retired.take(std::move(worker));
}

void CameraWorker::push(Task task)
{
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_tasks.push_back(std::move(task));
    }
    m_changed.notify_one();
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
        lock.unlock();
        task();
        task = nullptr;  // what it owned goes without the lock
        lock.lock();
    }
}

}  // namespace nubrix
