#include "net/PictureWatch.h"

#include <pthread.h>

#include <utility>

namespace nubrix::net {

PictureWatch::~PictureWatch()
{
    end();
}

void PictureWatch::begin(std::chrono::milliseconds patience, std::function<void()> tell)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_hasEnded)
        return;
    m_tell = std::move(tell);
    m_patience = Clock::duration(patience).count();
    notePicture();
    m_thread = std::thread(&PictureWatch::run, this);
    m_isWatching = true;
}

void PictureWatch::end()
{
    std::thread thread;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_hasEnded = true;
        m_isWatching = false;
        m_ended.notify_all();
        thread.swap(m_thread);
    }
    if (thread.joinable())
        thread.join();
}

void PictureWatch::notePicture()
{
    m_last = Clock::now().time_since_epoch().count();
}

bool PictureWatch::isSilent() const
{
    return m_isWatching && Clock::now() >= due();
}

PictureWatch::Clock::time_point PictureWatch::due() const
{
    return Clock::time_point(Clock::duration(m_last.load() + m_patience.load()));
}

void PictureWatch::run()
{
    pthread_setname_np(pthread_self(), "nubrix-net-idle");
    const auto hasEnded = [this] { return !m_isWatching; };
    Clock::time_point told;
    std::unique_lock<std::mutex> lock(m_lock);
    while (m_isWatching) {
        const Clock::time_point end = due();
        if (Clock::now() < end || told == end) {
            const auto patience = Clock::duration(m_patience.load());
            m_ended.wait_until(lock, told == end ? Clock::now() + patience : end, hasEnded);
            continue;
        }
        told = end;
        lock.unlock();
        m_tell();
        lock.lock();
    }
}

}  // namespace nubrix::net
