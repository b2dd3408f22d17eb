#include "stream/MultiStreamsListener.h"

#include <utility>

#include "stream/VideoStream.h"

namespace nubrix {

MultiStreamsListener::~MultiStreamsListener()
{
    disconnect_all();
}

void MultiStreamsListener::onNewFrame(VideoStream *stream)
{
    {
        const MutexLock guard(m_state);
        if (!m_listens)
            return;
        m_lastStream = stream;
    }
    if (stream)
        stream->onReaderWoken();
    m_event.wakeAll();
}

void MultiStreamsListener::addStreams(VideoStream **streams, unsigned int count)
{
    if (count == 0)
        return;
    const MutexLock connecting(m_connecting);
    const bool isConnected = isConnectedTo(streams, count);
    if (!isConnected)
        disconnectAll();
    {
        const MutexLock guard(m_state);
        m_listens = true;  // first: a frame that comes while the others are connected counts
    }
    if (!isConnected)
        connectTo(streams, count);
}

void MultiStreamsListener::connectTo(VideoStream **streams, unsigned int count)
{
    try {
        for (unsigned int i = 0; i < count; ++i) {
            if (!streams[i])
                continue;
            m_isConnected = true;
            streams[i]->newFrameSignal().connect(this, &MultiStreamsListener::onNewFrame);
            m_connected.push_back(streams[i]->id());
        }
    } catch (...) {
        disconnectAll();
        removeAllStreams();
        throw;
    }
}

void MultiStreamsListener::addStreams(const std::list<VideoStream *> &streams)
{
    std::vector<VideoStream *> all(streams.begin(), streams.end());
    addStreams(all.data(), static_cast<unsigned int>(all.size()));
}

bool MultiStreamsListener::isConnectedTo(VideoStream **streams, unsigned int count) const
{
    auto known = m_connected.begin();
    for (unsigned int i = 0; i < count; ++i) {
        if (streams[i] && (known == m_connected.end() || *known++ != streams[i]->id()))
            return false;
    }
    return known == m_connected.end();
}

void MultiStreamsListener::disconnectAll()
{
    disconnect_all();
    m_connected.clear();
    m_isConnected = false;
}

void MultiStreamsListener::disconnectUnlessWaiting()
{
    const MutexLock connecting(m_connecting);
    {
        const MutexLock guard(m_state);
        if (m_listens)
            return;
    }
    disconnectAll();
}

int MultiStreamsListener::wait(unsigned int ms, VideoStream **out)
{
    const int waited = m_event.waitUnless(static_cast<int>(ms), [this] { return isOver(); });
    if (waited != 0)
        return waited;
    const MutexLock guard(m_state);
    VideoStream *const last = std::exchange(m_lastStream, nullptr);
    m_woken = false;
    if (out)
        *out = last;
    return 0;
}

bool MultiStreamsListener::isOver()
{
    const MutexLock guard(m_state);
    return m_woken || m_lastStream;
}

void MultiStreamsListener::wake()
{
    {
        const MutexLock guard(m_state);
        m_woken = true;
    }
    m_event.wakeAll();
}

void MultiStreamsListener::removeAllStreams()
{
    const MutexLock guard(m_state);
    m_listens = false;
    m_woken = false;
    m_lastStream = nullptr;
}

}  // namespace nubrix
