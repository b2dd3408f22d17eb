#include "virtual/HotPlug.h"

#include "common/Report.h"
#include "virtual/VirtualCamera.h"

namespace nubrix {

void HotPlug::start()
{
    m_thread = std::thread(&HotPlug::run, this);
}

void HotPlug::stop()
{
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_stopping = true;
        m_wake.notify_all();
    }
    if (m_thread.joinable())
        m_thread.join();
}

void HotPlug::schedule(Time when, VirtualCamera &camera, Action action)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_events.emplace(when, Event{&camera, action});
    m_wake.notify_all();
}

void HotPlug::run()
{
    std::unique_lock<std::mutex> lock(m_lock);
    while (!m_stopping) {
        if (m_events.empty()) {
            m_wake.wait(lock);
            continue;
        }
        const auto first = m_events.begin();
        if (const Time when = first->first; when > std::chrono::steady_clock::now()) {
            m_wake.wait_until(lock, when);
            continue;
        }
        const Event event = first->second;
        m_events.erase(first);
        lock.unlock();
        carryOut(event);
        lock.lock();
    }
}

void HotPlug::carryOut(const Event &event)
try {
    VirtualCamera &camera = *event.camera;
    if (event.action == Action::kPlug) {
        camera.plug();
        return;
    }
    if (event.action == Action::kUnplug) {
        camera.unplug();
        return;
    }
    m_callback.notify(camera.uri(), camera.serial(), camera.location(),
                    event.action == Action::kTellConnected);
} catch (...) {
    reportFailure("an event of a virtual camera");
}

}  // namespace nubrix
