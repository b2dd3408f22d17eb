// Frames that come by callback.
#include <atomic>
#include <functional>

#include "tests/context/ContextFixture.h"

namespace nubrix {
namespace {

using testing::ElementsAre;

constexpr unsigned int kType = NUBRIX_STREAM_COLOR;

/// Takes frames for one stream; what a test adds runs on the stream's thread.
class Receiver {
public:
    explicit Receiver(NubrixBaseContext &context) : m_context(context) {}

    std::function<void(typedefNubrixFrame *)> onFrame;  // set it before the stream

    static void callback(NubrixStream *stream, typedefNubrixFrame *frame, void *user)
    {
        static_cast<Receiver *>(user)->take(stream, frame);
    }
    /// Waits for a number of frames since the beginning, and gives their indices.
    std::vector<unsigned int> await(int frames)
    {
        EXPECT_TRUE(m_taken.reaches(frames));
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_indices;
    }
    int count() { return m_taken.value(); }
    NubrixStream *stream()
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_stream;
    }
    std::thread::id thread()
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_thread;
    }

private:
    void take(NubrixStream *stream, typedefNubrixFrame *frame)
    {
        {
            const std::lock_guard<std::mutex> guard(m_mutex);
            m_stream = stream;
            m_thread = std::this_thread::get_id();
            m_indices.push_back(frame->frameIndex);
        }
        if (onFrame)
            onFrame(frame);
        else
            EXPECT_EQ(m_context.releaseFrame(frame), 0);
        m_taken.add();
    }

    NubrixBaseContext &m_context;
    Counter m_taken;
    std::mutex m_mutex;  // guards everything below
    NubrixStream *m_stream = nullptr;
    std::thread::id m_thread;
    std::vector<unsigned int> m_indices;
};

class Callbacks : public DeviceFixture {
protected:
    NubrixStream *openWith(Receiver &receiver, unsigned int type = kType)
    {
        NubrixStream *stream = nullptr;
        EXPECT_EQ(context().openStream(m_device, type, &stream, &Receiver::callback, &receiver), 0);
        return stream;
    }
    void deliver(unsigned int index, unsigned int type = kType)
    {
        ASSERT_TRUE(m_usb.deliver(type, FakeFrame{index}));
    }

    Receiver m_receiver{context()};
};

TEST_F(Callbacks, TakeEveryFrameOnAThreadOfTheStream)
{
    NubrixStream *const stream = openWith(m_receiver);
    for (unsigned int i = 0; i < 20; ++i) {
        deliver(i);
        EXPECT_EQ(m_receiver.await(static_cast<int>(i) + 1).back(), i);
    }
    EXPECT_EQ(m_receiver.stream(), stream);
    EXPECT_NE(m_receiver.thread(), std::this_thread::get_id());
}

TEST_F(Callbacks, EachTakeTheirOwnStream)
{
    Receiver other{context()};
    openWith(m_receiver);
    openWith(other, NUBRIX_STREAM_IR);
    deliver(1);
    deliver(2, NUBRIX_STREAM_IR);
    EXPECT_THAT(m_receiver.await(1), ElementsAre(1));
    EXPECT_THAT(other.await(1), ElementsAre(2));
    EXPECT_NE(m_receiver.thread(), other.thread());
}

TEST_F(Callbacks, OwnTheirFramesUntilTheyGiveThemBack)
{
    std::vector<typedefNubrixFrame *> held;
    m_receiver.onFrame = [&](typedefNubrixFrame *frame) { held.push_back(frame); };
    openWith(m_receiver);
    for (unsigned int i = 0; i < 10; ++i) {
        deliver(i);
        m_receiver.await(static_cast<int>(i) + 1);
    }
    EXPECT_FALSE(m_usb.deliver(kType, FakeFrame{10}));
    for (unsigned int i = 0; i < 10; ++i) {
        EXPECT_EQ(held[i]->frameIndex, i);
        EXPECT_EQ(context().releaseFrame(held[i]), 0);
    }
    held.clear();
    EXPECT_TRUE(m_usb.deliver(kType, FakeFrame{11}));
    m_receiver.await(11);
    EXPECT_EQ(context().releaseFrame(held.at(0)), 0);
}

TEST_F(Callbacks, ThatAreSlowGetTheNewestFrame)
{
    Counter goOn;
    m_receiver.onFrame = [&](typedefNubrixFrame *frame) {
        if (frame->frameIndex == 0) {
            EXPECT_TRUE(goOn.reaches(1));
        }
        EXPECT_EQ(context().releaseFrame(frame), 0);
    };
    openWith(m_receiver);
    deliver(0);
    ASSERT_TRUE(eventually([&] { return m_receiver.stream() != nullptr; }));
    for (unsigned int i = 1; i < 100; ++i)
        deliver(i);
    goOn.add();
    EXPECT_THAT(m_receiver.await(2), ElementsAre(0, 99));
}

TEST_F(Callbacks, KeepFramesFromThoseWhoWait)
{
    NubrixStream *stream = openWith(m_receiver);
    NubrixStream *ready[1] = {};
    std::thread camera;
    m_usb.setHook([&](const std::string &call) {
        if (call == "usb:1 keepLiveState")
            camera = std::thread([&] {
                deliver(1);
                m_receiver.await(1);
            });
    });
    EXPECT_EQ(context().waitForStreams(&stream, 1, ready, 200), -11);
    camera.join();
    EXPECT_EQ(ready[0], nullptr);
}

TEST_F(Callbacks, MayBeChangedWhileFramesCome)
{
    Receiver other{context()};
    NubrixStream *const stream = openWith(m_receiver);
    deliver(1);
    m_receiver.await(1);
    ASSERT_EQ(context().setStreamCallback(stream, &Receiver::callback, &other), 0);
    deliver(2);
    EXPECT_THAT(other.await(1), ElementsAre(2));
    EXPECT_EQ(m_receiver.count(), 1);
}

TEST_F(Callbacks, MayBeSetBeforeTheStart)
{
    NubrixStream *const stream = created(kType);
    ASSERT_EQ(context().setStreamCallback(stream, &Receiver::callback, &m_receiver), 0);
    ASSERT_EQ(startStream(stream), 0);
    deliver(3);
    EXPECT_THAT(m_receiver.await(1), ElementsAre(3));
}

TEST_F(Callbacks, ThatAreTakenAwayLeaveTheFramesToReaders)
{
    NubrixStream *const stream = openWith(m_receiver);
    deliver(1);
    m_receiver.await(1);
    ASSERT_EQ(context().setStreamCallback(stream, nullptr, nullptr), 0);
    deliver(2);
    typedefNubrixFrame *frame = nullptr;
    ASSERT_EQ(context().readFrame(stream, &frame, 1000), 0);
    EXPECT_EQ(frame->frameIndex, 2U);
    EXPECT_EQ(context().releaseFrame(frame), 0);
    EXPECT_EQ(m_receiver.count(), 1);
    EXPECT_EQ(context().closeStream(stream), 0) << "though the callback's thread still runs";
}

TEST_F(Callbacks, MustBeSetAgainAfterAStop)
{
    NubrixStream *const stream = openWith(m_receiver);
    deliver(1);
    m_receiver.await(1);
    ASSERT_EQ(stopStream(stream), 0);
    ASSERT_EQ(startStream(stream), 0);
    deliver(2);
    typedefNubrixFrame *frame = nullptr;
    ASSERT_EQ(context().readFrame(stream, &frame, 0), 0) << "nobody took it";
    EXPECT_EQ(context().releaseFrame(frame), 0);
    ASSERT_EQ(context().setStreamCallback(stream, &Receiver::callback, &m_receiver), 0);
    deliver(3);
    EXPECT_EQ(m_receiver.await(2).back(), 3U);
}

TEST_F(Callbacks, MayUseTheContext)
{
    NubrixStream *const other = opened(NUBRIX_STREAM_DEPTH);
    m_usb.setPropertyValue(9, {1});
    NubrixDevice *net = nullptr;
    NubrixStream *another = nullptr;
    m_receiver.onFrame = [&](typedefNubrixFrame *frame) {
        typedefNubrixeviceAttribute *list = nullptr;
        typedefNubrixFrame *read = nullptr;
        unsigned int size = 4;
        unsigned char data[4] = {};
        EXPECT_EQ(context().nubrixGetDeviceList(&list, &size), 0);
        EXPECT_EQ(context().getDeviceProperty(m_device, 9, data, &size), 0);
        EXPECT_EQ(context().readFrame(other, &read, 0), -11);
        EXPECT_EQ(context().openDevice("net:1", &net), 0);
        EXPECT_EQ(context().openStream(m_device, NUBRIX_STREAM_IR, &another, nullptr, nullptr), 0);
        EXPECT_EQ(context().closeStream(other), 0);
        EXPECT_EQ(context().closeDevice(net), 0);
        EXPECT_EQ(context().releaseFrame(frame), 0);
    };
    openWith(m_receiver);
    deliver(1);
    m_receiver.await(1);
    EXPECT_TRUE(m_usb.deliver(NUBRIX_STREAM_IR, {}));
    EXPECT_FALSE(m_usb.deliver(NUBRIX_STREAM_DEPTH, {}));
}

TEST_F(Callbacks, MayChangeTheirOwnStreamsCallback)
{
    Receiver other{context()};
    NubrixStream *stream = nullptr;
    m_receiver.onFrame = [&](typedefNubrixFrame *frame) {
        EXPECT_EQ(context().setStreamCallback(m_receiver.stream(), &Receiver::callback, &other), 0);
        EXPECT_EQ(context().releaseFrame(frame), 0);
    };
    stream = openWith(m_receiver);
    deliver(1);
    m_receiver.await(1);
    deliver(2);
    EXPECT_THAT(other.await(1), ElementsAre(2));
    EXPECT_EQ(other.stream(), stream);
}

TEST_F(Callbacks, MayReleaseAFrameOfAnotherStream)
{
    NubrixStream *const other = opened(NUBRIX_STREAM_DEPTH);
    deliver(7, NUBRIX_STREAM_DEPTH);
    m_receiver.onFrame = [&](typedefNubrixFrame *frame) {
        typedefNubrixFrame *depth = nullptr;
        EXPECT_EQ(context().readFrame(other, &depth, 0), 0);
        EXPECT_EQ(depth->frameIndex, 7U);
        EXPECT_EQ(context().releaseFrame(depth), 0);
        EXPECT_EQ(context().releaseFrame(frame), 0);
    };
    openWith(m_receiver);
    deliver(1);
    m_receiver.await(1);
}

TEST_F(Callbacks, AreNotCalledOnceTheirStreamIsClosed)
{
    m_usb.freeRunning = true;
    for (int times = 0; times < 5; ++times) {
        Receiver receiver{context()};
        NubrixStream *const stream = openWith(receiver);
        receiver.await(3);
        ASSERT_EQ(context().closeStream(stream), 0);
        const int atTheEnd = receiver.count();
        NubrixStream *const next = openWith(m_receiver);
        m_receiver.await(m_receiver.count() + 3);
        ASSERT_EQ(context().closeStream(next), 0);
        EXPECT_EQ(receiver.count(), atTheEnd);
    }
}

}  // namespace
}  // namespace nubrix
