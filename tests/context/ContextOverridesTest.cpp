// A subclass of the context changes how its other operations work.
#include <string>
#include <utility>
#include <vector>

#include "tests/context/ContextInside.h"

namespace nubrix {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

/// Overrides what other operations use.
class Overriding final : public Context {
public:
    int createStream(NubrixDevice *handle, unsigned int type, NubrixStream **stream) override
    {
        called("createStream");
        return Context::createStream(handle, type, stream);
    }
    int destroyStream(NubrixStream *stream) override
    {
        called("destroyStream");
        return Context::destroyStream(stream);
    }
    int startStream(NubrixStream *stream) override
    {
        called("startStream");
        return startResult != 0 ? startResult : Context::startStream(stream);
    }
    int stopStream(NubrixStream *stream) override
    {
        called("stopStream");
        if (stopDestroys)
            return Context::destroyStream(stream);
        return stopResult != 0 ? stopResult : Context::stopStream(stream);
    }
    int closeStream(NubrixStream *stream) override
    {
        called("closeStream");
        return Context::closeStream(stream);
    }
    int setStreamCallback(NubrixStream *stream, NubrixFrameCallback callback, void *user) override
    {
        called("setStreamCallback");
        return callbackResult != 0 ? callbackResult
                                   : Context::setStreamCallback(stream, callback, user);
    }
    int waitForStreams(NubrixStream **streams, int count, NubrixStream **ready,
                       int timeoutMs) override
    {
        called("waitForStreams");
        waited = {count, timeoutMs};
        return Context::waitForStreams(streams, count, ready, timeoutMs);
    }

    int recorderStop(NubrixRecord *recorder) override
    {
        called("recorderStop");
        return Context::recorderStop(recorder);
    }
    int destroyRecorder(NubrixRecord *recorder) override
    {
        called("destroyRecorder");
        return keepRecorders ? 0 : Context::destroyRecorder(recorder);
    }

    bool keepRecorders = false;
    bool stopDestroys = false;
    int startResult = 0;
    int stopResult = 0;
    int callbackResult = 0;
    std::vector<std::string> calls;
    std::pair<int, int> waited;  // count and time-out

private:
    void called(const char *operation) { calls.emplace_back(operation); }
};

void ignoreFrame(NubrixStream *, typedefNubrixFrame *, void *)
{
}

class Overridden : public InsideOf<Overriding> {
protected:
    int opening(NubrixFrameCallback callback)
    {
        m_context.calls.clear();
        return m_context.openStream(m_device, NUBRIX_STREAM_COLOR, &m_stream, callback, nullptr);
    }

    NubrixDevice *const m_device = open("usb:1");
    NubrixStream *m_stream = nullptr;
};

TEST_F(Overridden, OpenStreamUsesTheOverrides)
{
    EXPECT_EQ(opening(&ignoreFrame), 0);
    EXPECT_THAT(m_context.calls, ElementsAre("createStream", "setStreamCallback", "startStream"));
    EXPECT_EQ(opening(nullptr), 0);
    EXPECT_THAT(m_context.calls, ElementsAre("createStream", "startStream"));
}

TEST_F(Overridden, OpenStreamUndoesAStartThatFails)
{
    m_context.startResult = 12;
    EXPECT_EQ(opening(nullptr), 12);
    EXPECT_THAT(m_context.calls, ElementsAre("createStream", "startStream", "destroyStream"));
    EXPECT_EQ(m_stream, nullptr);
    const std::vector<LogLine> lines = m_log.take();
    EXPECT_THAT(lines, Contains(errorLine("Open color stream failed ,ret = 12")));
    EXPECT_EQ(lines.back(), milestoneLine("Open color stream succeed"));
}

TEST_F(Overridden, OpenStreamUndoesACallbackThatIsRefused)
{
    m_context.callbackResult = -3;
    EXPECT_EQ(opening(&ignoreFrame), -3);
    EXPECT_THAT(m_context.calls, ElementsAre("createStream", "setStreamCallback", "destroyStream"));
    EXPECT_EQ(m_stream, nullptr);
    EXPECT_THAT(m_log.take(), Not(Contains(milestoneLine("Open color stream succeed"))));
}

TEST_F(Overridden, CloseStreamUsesTheOverrides)
{
    ASSERT_EQ(opening(nullptr), 0);
    m_context.calls.clear();
    EXPECT_EQ(m_context.closeStream(m_stream), 0);
    EXPECT_THAT(m_context.calls, ElementsAre("closeStream", "stopStream", "destroyStream"));
}

TEST_F(Overridden, CloseStreamKeepsAStreamThatDoesNotStop)
{
    ASSERT_EQ(opening(nullptr), 0);
    m_context.calls.clear();
    m_context.stopResult = -6;
    m_log.take();
    EXPECT_EQ(m_context.closeStream(m_stream), -6);
    EXPECT_THAT(m_context.calls, ElementsAre("closeStream", "stopStream"));
    EXPECT_EQ(m_log.take().back(), milestoneLine("Finish stop stream"));
    m_context.stopResult = 0;
    EXPECT_EQ(m_context.closeStream(m_stream), 0);
}

TEST_F(Overridden, ACameraIsClosedThoughAStreamIsNot)
{
    ASSERT_EQ(m_context.createStream(m_device, NUBRIX_STREAM_COLOR, &m_stream), 0);
    m_context.stopResult = -6;
    EXPECT_EQ(m_context.closeDevice(m_device), 0) << "and does not try for ever";
    m_context.stopResult = 0;
    EXPECT_EQ(m_context.destroyStream(m_stream), 0);
}

TEST_F(Overridden, ReadFrameWaitsThroughTheOverride)
{
    ASSERT_EQ(opening(nullptr), 0);
    m_context.calls.clear();
    typedefNubrixFrame *frame = nullptr;
    EXPECT_EQ(m_context.readFrame(m_stream, &frame, 3), -11);
    EXPECT_THAT(m_context.calls, ElementsAre("waitForStreams"));
    EXPECT_EQ(m_context.waited, std::make_pair(1, 3));
}

TEST_F(Overridden, ClosingACameraAndDestroyUseTheOverrides)
{
    ASSERT_EQ(opening(nullptr), 0);
    m_context.calls.clear();
    ASSERT_EQ(m_context.closeDevice(m_device), 0);
    EXPECT_THAT(m_context.calls, ElementsAre("closeStream", "stopStream", "destroyStream"));
    NubrixStream *stream = nullptr;
    ASSERT_EQ(m_context.openStream(open("usb:1"), NUBRIX_STREAM_IR, &stream, nullptr, nullptr), 0);
    m_context.calls.clear();
    ASSERT_EQ(m_context.destroy(), 0);
    EXPECT_THAT(m_context.calls, ElementsAre("stopStream"));
}

TEST_F(Overridden, DestroyEndsStreamsThatAnOverrideDestroysWhenTheyStop)
{
    ASSERT_EQ(opening(nullptr), 0);
    NubrixStream *other = nullptr;
    ASSERT_EQ(m_context.createStream(m_device, NUBRIX_STREAM_IR, &other), 0);
    m_context.calls.clear();
    m_context.stopDestroys = true;
    EXPECT_EQ(m_context.destroy(), 0);
    EXPECT_THAT(m_context.calls, ElementsAre("stopStream", "stopStream"));
    EXPECT_EQ(m_usb.countCalls("usb:1 stream 1 stop"), 1U);
}

TEST_F(Overridden, DestroyEndsRecordersThroughTheOverrides)
{
    NubrixRecord *recorder = nullptr;
    ASSERT_EQ(m_context.createRecorder("/dev/null", &recorder), 0);
    EXPECT_EQ(m_context.destroy(), 0);
    EXPECT_THAT(m_context.calls, ElementsAre("recorderStop", "destroyRecorder"));
}

TEST_F(Overridden, DestroyEndsRecordersThatAnOverrideKeeps)
{
    m_context.keepRecorders = true;
    NubrixRecord *recorder = nullptr;
    ASSERT_EQ(m_context.createRecorder("/dev/null", &recorder), 0);
    EXPECT_EQ(m_context.destroy(), 0);
    EXPECT_THAT(m_context.calls, ElementsAre("recorderStop", "destroyRecorder"));
    EXPECT_THAT(m_log.take(), Contains(infoLine("~StreamRecorder()")));
}

}  // namespace
}  // namespace nubrix
