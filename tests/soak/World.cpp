#include "tests/soak/World.h"

#include <cstdio>

namespace nubrix::soak {

World::World(const std::string &path, int restingThreads)
    : folder(path),
      disk(path + "/disk"),
      rest(restingThreads),
      m_subscription(session.onCamerasChanged([this](const std::string &uri, bool attached) {
          const std::lock_guard<std::mutex> guard(m_lock);
          Plug &plug = m_plugs[uri];
          ++plug.changes;
          plug.attached = attached;
          m_plugged.notify_all();
      }))
{
}

void World::receive(const typedefNubrixFrame &frame)
{
    ++counters.frames;
    if (frame.flags != 0)
        ++counters.faulty;
    else if (!images.matches(frame))
        defect("frame " + std::to_string(frame.frameIndex) + " has other pixels than the camera");
}

unsigned int World::plugChanges(const std::string &uri) const
{
    const std::lock_guard<std::mutex> guard(m_lock);
    const auto plug = m_plugs.find(uri);
    return plug == m_plugs.end() ? 0 : plug->second.changes;
}

bool World::awaitPlugChange(const std::string &uri, unsigned int since,
                            std::chrono::milliseconds timeout) const
{
    std::unique_lock<std::mutex> lock(m_lock);
    return m_plugged.wait_for(lock, timeout, [&] {
        const auto plug = m_plugs.find(uri);
        return plug != m_plugs.end() && plug->second.changes != since;
    });
}

bool World::isCausedByPlug(const std::string &uri, unsigned int since,
                           const std::exception &error) const
{
    constexpr std::chrono::milliseconds kSoon{1000};
    const bool saysSo = dynamic_cast<const client::Unplugged *>(&error) != nullptr;
    return awaitPlugChange(uri, since, saysSo ? std::chrono::milliseconds(kFrameTimeout) : kSoon);
}

bool World::isAttached(const std::string &uri) const
{
    const std::lock_guard<std::mutex> guard(m_lock);
    const auto plug = m_plugs.find(uri);
    return plug == m_plugs.end() || plug->second.attached;
}

void World::defect(const std::string &text)
{
    ++m_defects;
    std::fprintf(stderr, "soak: defect: %s\n", text.c_str());
}

}  // namespace nubrix::soak
