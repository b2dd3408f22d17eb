#include "stream/MultiStreamsListener.h"

#include "stream/VideoStream.h"

namespace nubrix {

MultiStreamsListener::MultiStreamsListener() : m_event(EventWrapper::create())
{
}

MultiStreamsListener::~MultiStreamsListener()
{
    disconnect_all();
}

void MultiStreamsListener::onNewFrame(VideoStream *stream)
{
    m_lastStream = stream;
    if (stream)
        stream->onReaderWoken();
    m_event->set();
}

void MultiStreamsListener::addStreams(VideoStream **streams, unsigned int count)
{
    try {
        for (unsigned int i = 0; i < count; ++i) {
            if (streams[i])
                streams[i]->newFrameSignal().connect(this, &MultiStreamsListener::onNewFrame);
        }
    } catch (...) {
        removeAllStreams();
        throw;
    }
}

void MultiStreamsListener::addStreams(const std::list<VideoStream *> &streams)
{
    for (VideoStream *stream : streams)
        addStreams(&stream, 1);
}

int MultiStreamsListener::wait(unsigned int ms, VideoStream **out)
{
    const int waited = m_event->wait(static_cast<int>(ms));
    if (waited == 0 && out)
        *out = m_lastStream;
    return waited;
}

void MultiStreamsListener::removeAllStreams()
{
    disconnect_all();
    m_lastStream = nullptr;
    m_event->reset();
}

}  // namespace nubrix
