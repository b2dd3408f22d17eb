#include "net/CameraWorker.h"

#include <pthread.h>

#include <exception>

#include "common/Report.h"
#include "net/ControlledDevice.h"

namespace nubrix::net {

namespace {

/// For what is left when nothing is asked of the camera any more.
constexpr std::chrono::milliseconds kRest{200};

}  // namespace

void CameraWorker::submit(Clock::time_point end, Prepared task) noexcept
{
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        task.front().end = end;
        m_tasks.splice(m_tasks.end(), task);
    }
    m_changed.notify_all();
}

void CameraWorker::retire(Clock::time_point end) noexcept
{
    m_channel.endAt(end);
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_isRetired = true;
        m_end = end;
    }
    m_changed.notify_all();
}

bool CameraWorker::isRetired() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_isRetired;
}

bool CameraWorker::awaitEnd()
{
    std::unique_lock<std::mutex> lock(m_lock);
    return m_changed.wait_until(lock, m_end + kRest, [this] { return m_hasEnded; });
}

void CameraWorker::run()
{
    pthread_setname_np(pthread_self(), "nubrix-net-cam");
    runTasks();
    releaseCamera();
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_hasEnded = true;
    }
    m_changed.notify_all();
}

void CameraWorker::runTasks()
{
    auto beat = Clock::now() + ControlChannel::kBeat;
    std::unique_lock<std::mutex> lock(m_lock);
    for (;;) {
        const auto hasWork = [&] { return m_isRetired || !m_tasks.empty(); };
        if (!m_changed.wait_until(lock, beat, hasWork)) {
            lock.unlock();
            keepControl();
            lock.lock();
            beat = Clock::now() + ControlChannel::kBeat;
            continue;
        }
        if (m_tasks.empty())
            return;
        Prepared task;
        task.splice(task.end(), m_tasks, m_tasks.begin());
        lock.unlock();
        m_channel.begin(task.front().end);
        task.front().run();
        noteHealth();
        task.clear();  // what it owned goes without the lock
        lock.lock();
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

/// Without memory the camera is free when its heartbeat has ended.
void CameraWorker::releaseCamera()
try {
    if (m_camera) {
        closeAddressOf(*arv_camera_get_device(m_camera.get()));
        m_camera.reset();
    }
    m_channel.begin(Clock::time_point::max());
    m_channel.releaseControl();
} catch (...) {
    reportFailure("releasing a network camera");
}

}  // namespace nubrix::net
