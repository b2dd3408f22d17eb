// What the tests of video streams share: one stream, a listener and a callback that can be held.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "stream/StreamFrameBaseListener.h"
#include "tests/LedgerCheck.h"
#include "tests/stream/StreamFixture.h"

namespace nubrix {

/// Records that it was called, and runs the test's function on the stream's thread.
class Listener final : public StreamFrameBaseListener {
public:
    ~Listener() override { disconnect_all(); }
    void onNewFrame(VideoStream *stream) override
    {
        threadName = currentThreadName();
        last = stream;
        if (then)
            then(stream);
        calls.add();
    }

    Counter calls;
    std::function<void(VideoStream *)> then;  // set before it is connected
    std::string threadName;                   // these two are safe to read after a call
    VideoStream *last = nullptr;
};

/// The application's side of a stream: keeps what its callback is given.
class Application {
public:
    ~Application() { giveBackAll(); }

    static void onFrame(NubrixStream *stream, typedefNubrixFrame *frame, void *user)
    {
        auto *const self = static_cast<Application *>(user);
        {
            const std::lock_guard<std::mutex> guard(self->m_mutex);
            self->m_stream = stream;
            self->m_threadName = currentThreadName();
            self->m_frames.push_back(frame);
            self->m_indices.push_back(frame->frameIndex);
        }
        if (self->then)
            self->then();
        self->calls.add();
    }
    void giveBackAll()
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        for (typedefNubrixFrame *frame : m_frames)
            InternalFrame::releaseHeld(InternalFrame::fromRecord(frame));
        m_frames.clear();
    }
    std::vector<unsigned int> indices() const
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_indices;
    }
    NubrixStream *stream() const { return m_stream; }
    std::string threadName() const { return m_threadName; }
    typedefNubrixFrame *frame() const { return m_frames.at(0); }

    Counter calls;               // raised at the end of each callback
    std::function<void()> then;  // set before the callback is

private:
    mutable std::mutex m_mutex;
    std::vector<typedefNubrixFrame *> m_frames;
    std::vector<unsigned int> m_indices;
    NubrixStream *m_stream = nullptr;
    std::string m_threadName;
};

class VideoStreamFixture : public StreamFixture {
protected:
    VideoStreamFixture() { makeStream(); }
    ~VideoStreamFixture() override
    {
        if (m_stream) {
            EXPECT_EQ(ledgerFault(m_stream->ledger()), "");
        }
    }

    void makeStream() { m_stream = std::make_unique<VideoStream>(m_device, m_sensor); }
    void start()
    {
        ASSERT_EQ(m_stream->start(), 0);
        m_log.take();
    }
    void listen()
    {
        m_stream->newFrameSignal().connect(static_cast<StreamFrameBaseListener *>(&m_listener),
                                           &StreamFrameBaseListener::onNewFrame);
    }
    void setCallback() { m_stream->setStreamCallback(&Application::onFrame, &m_application); }
    /// A frame of no pool, as if the driver had delivered it.
    void emit(LooseFrame &frame)
    {
        frame.incRef();
        m_sensor.onNewFrame(&frame);
        frame.release();
    }
    /// The index of the newest frame, or the status.
    int read(bool pop)
    {
        xp<NubrixFrameRef> frame;
        const int status = m_stream->readFrame(frame, pop);
        EXPECT_EQ(status == 0, static_cast<bool>(frame));
        return status == 0 ? static_cast<int>(frame->frame().frameIndex) : status;
    }
    int get()
    {
        xp<NubrixFrameRef> frame;
        const int status = m_stream->getFrame(frame);
        EXPECT_EQ(status == 0, static_cast<bool>(frame));
        return status == 0 ? static_cast<int>(frame->frame().frameIndex) : status;
    }

    Application m_application;
    Sensor m_sensor{m_device, kDepth};
    Listener m_listener;
    std::unique_ptr<VideoStream> m_stream;
};

}  // namespace nubrix
