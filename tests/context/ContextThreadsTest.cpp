// What must not deadlock, crash or race, whoever calls what meanwhile.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <functional>

#include "tests/context/ContextFixture.h"

namespace nubrix {
namespace {

using testing::AnyOf;

constexpr unsigned int kTypes[] = {NUBRIX_STREAM_COLOR, NUBRIX_STREAM_DEPTH, NUBRIX_STREAM_IR,
                                   NUBRIX_STREAM_LIGHT_IR};

class Threads : public DeviceFixture {
protected:
    NubrixStream *openWith(NubrixFrameCallback callback, void *user)
    {
        NubrixStream *stream = nullptr;
        EXPECT_EQ(context().openStream(m_device, NUBRIX_STREAM_COLOR, &stream, callback, user), 0);
        return stream;
    }
};

void give(NubrixStream *, typedefNubrixFrame *frame, void *user)
{
    EXPECT_EQ(static_cast<NubrixBaseContext *>(user)->releaseFrame(frame), 0);
}

// --- who waits and reads

/// What ends a wait from outside.
struct End {
    const char *name;
    std::function<int(NubrixBaseContext &, NubrixDevice *, NubrixStream *)> call;
};

void PrintTo(const End &end, std::ostream *stream)
{
    *stream << end.name;
}

class EndOfAWait : public Threads, public testing::WithParamInterface<End> {
protected:
    /// Waits in slices for ever, ends it from outside in the middle of one, and gives the result.
    template <class Wait>
    int ended(Wait wait)
    {
        Counter waiting;
        m_usb.setHook([&](const std::string &call) {
            if (call == "usb:1 keepLiveState")
                waiting.add();
        });
        int result = 0;
        std::thread waiter([&] { result = wait(); });
        EXPECT_TRUE(waiting.reaches(1));
        EXPECT_EQ(GetParam().call(context(), m_device, m_stream), 0);
        waiter.join();
        m_usb.setHook({});
        return result;
    }

    NubrixStream *const m_stream = opened(NUBRIX_STREAM_COLOR);
};

TEST_F(Threads, SixteenWaitOnOverlappingStreamsUntilTheContextIsDestroyed)
{
    constexpr std::size_t kThreads = 16;
    constexpr int kRounds = 20;
    std::vector<NubrixStream *> streams;
    for (const unsigned int type : kTypes)
        streams.push_back(opened(type));
    std::vector<Counter> notified(kThreads);
    std::vector<int> lastStatus(kThreads);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            // One to four streams, beginning with any.
            std::vector<NubrixStream *> own;
            for (std::size_t k = 0; k <= i / 4; ++k)
                own.push_back(streams[(i + k) % streams.size()]);
            NubrixStream *ready = nullptr;
            while ((lastStatus[i] = context().waitForStreams(
                        own.data(), static_cast<int>(own.size()), &ready, -1)) == 0) {
                EXPECT_THAT(own, testing::Contains(ready));
                notified[i].add();
            }
        });
    }
    // Every thread hears of frames of every stream that it waits for, again and again.
    for (bool all = false; !all;) {
        for (const unsigned int type : kTypes)
            ASSERT_TRUE(m_usb.deliver(type, {}));
        all = std::all_of(notified.begin(), notified.end(),
                          [](const Counter &count) { return count.value() >= kRounds; });
    }
    EXPECT_EQ(context().destroy(), 0);
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_THAT(lastStatus, testing::Each(AnyOf(-9, -13, -2)));
}

TEST_P(EndOfAWait, EndsWaitForStreams)
{
    EXPECT_EQ(ended([&] {
                  NubrixStream *stream = m_stream;
                  return context().waitForStreams(&stream, 1, nullptr, -1);
              }),
              -9);
}

TEST_P(EndOfAWait, EndsReadFrame)
{
    typedefNubrixFrame *frame = nullptr;
    EXPECT_EQ(ended([&] { return context().readFrame(m_stream, &frame, -1); }), -9);
    EXPECT_EQ(frame, nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Context, EndOfAWait,
    testing::Values(End{"destroy", [](NubrixBaseContext &context, NubrixDevice *,
                                      NubrixStream *) { return context.destroy(); }},
                    End{"closeDevice", [](NubrixBaseContext &context, NubrixDevice *device,
                                          NubrixStream *) { return context.closeDevice(device); }},
                    End{"closeStream",
                        [](NubrixBaseContext &context, NubrixDevice *, NubrixStream *stream) {
                            return context.closeStream(stream);
                        }}),
    [](const auto &tested) { return std::string(tested.param.name); });

TEST_F(Threads, ASecondReaderWaitsForTheFirst)
{
    NubrixStream *const first = opened(NUBRIX_STREAM_COLOR);
    NubrixStream *const second = opened(NUBRIX_STREAM_DEPTH);
    std::atomic<int> waits{0};
    std::atomic<int> reader{0};
    std::atomic<bool> hasRead{false};
    std::thread reading;
    m_usb.setHook([&](const std::string &call) {
        if (call != "usb:1 keepLiveState" || waits++ != 0)
            return;
        reading = std::thread([&] {
            reader = ::gettid();
            typedefNubrixFrame *frame = nullptr;
            EXPECT_EQ(context().readFrame(second, &frame, 0), -11);
            hasRead = true;
        });
        EXPECT_TRUE(
            eventually([&] { return hasRead || (reader != 0 && hasFallenAsleep(reader)); }));
        EXPECT_FALSE(hasRead);
        EXPECT_EQ(waits, 1);
    });
    typedefNubrixFrame *frame = nullptr;
    EXPECT_EQ(context().readFrame(first, &frame, 0), -11);
    reading.join();
    m_usb.setHook({});
}

TEST_F(Threads, ReadersAreServedInTurnAndEachFrameOnce)
{
    m_usb.freeRunning = true;
    NubrixStream *const stream = opened(NUBRIX_STREAM_COLOR);
    std::mutex mutex;
    std::vector<unsigned int> indices;
    std::vector<std::thread> readers;
    for (int reader = 0; reader < 3; ++reader) {
        readers.emplace_back([&] {
            for (int taken = 0; taken < 30;) {
                typedefNubrixFrame *frame = nullptr;
                const int result = context().readFrame(stream, &frame, 1000);
                ASSERT_THAT(result, AnyOf(0, -11));
                if (result != 0)
                    continue;
                ++taken;
                const std::lock_guard<std::mutex> guard(mutex);
                indices.push_back(frame->frameIndex);
                EXPECT_EQ(context().releaseFrame(frame), 0);
            }
        });
    }
    for (std::thread &reader : readers)
        reader.join();
    EXPECT_EQ(indices.size(), 90U);
    std::sort(indices.begin(), indices.end());
    EXPECT_EQ(std::adjacent_find(indices.begin(), indices.end()), indices.end());
}

// --- streams that come and go

TEST_F(Threads, StreamsOpenAndCloseOnSeveralThreads)
{
    m_usb.freeRunning = true;
    std::vector<std::thread> threads;
    for (const unsigned int type : kTypes) {
        threads.emplace_back([this, type] {
            for (int i = 0; i < 10; ++i) {
                NubrixStream *stream = nullptr;
                typedefNubrixFrame *frame = nullptr;
                const bool byCallback = i % 2 == 0;
                ASSERT_EQ(context().openStream(m_device, type, &stream,
                                               byCallback ? &give : nullptr, &context()),
                          0);
                if (!byCallback && context().readFrame(stream, &frame, 1000) == 0) {
                    EXPECT_EQ(context().releaseFrame(frame), 0);
                }
                ASSERT_EQ(context().closeStream(stream), 0);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
}

TEST_F(Threads, CamerasOpenAndCloseOnSeveralThreads)
{
    m_usb.freeRunning = true;
    m_net.freeRunning = true;
    std::vector<typedefNubrixeviceAttribute> records;
    for (int i = 0; i < 3; ++i)
        records.push_back(cameraRecord("usb:" + std::to_string(i)));
    m_usb.setDevices(records);
    m_usb.raise("usb:0", "SN", "0", NUBRIX_DEVICE_CONNECTED);
    ASSERT_EQ(context().closeDevice(m_device), 0);
    std::vector<std::thread> threads;
    for (const std::string uri : {"usb:0", "usb:1", "usb:2", "net:1"}) {
        threads.emplace_back([this, uri] {
            for (int i = 0; i < 10; ++i) {
                NubrixDevice *device = nullptr;
                NubrixStream *stream = nullptr;
                ASSERT_EQ(context().openDevice(uri.c_str(), &device), 0);
                ASSERT_EQ(context().openStream(device, 1, &stream, &give, &context()), 0);
                ASSERT_EQ(context().openStream(device, 2, &stream, nullptr, nullptr), 0);
                ASSERT_EQ(context().closeDevice(device), 0);
            }
        });
    }
    for (int i = 0; i < 20; ++i)
        m_usb.announce("usb:0", "SN", "0", NUBRIX_DEVICE_CONNECTED);
    for (std::thread &thread : threads)
        thread.join();
    ASSERT_TRUE(m_usb.waitForAnnouncements());
}

TEST_F(Threads, OneOfTwoWhoCloseACameraIsRefusedAndItGetsNoMoreStreams)
{
    Counter closing;
    Latch mayClose;
    m_usb.setHook([&](const std::string &call) {
        if (call == "closeDevice usb:1") {
            closing.add();
            EXPECT_TRUE(mayClose.pass());
        }
    });
    std::thread closer([&] { EXPECT_EQ(context().closeDevice(m_device), 0); });
    EXPECT_TRUE(closing.reaches(1));
    EXPECT_EQ(outcome([&] { return context().closeDevice(m_device); }),
              (Outcome{-3, NUBRIX_ERR_INVALID_DEVICE, {"3 Invalid Device!"}}));
    NubrixStream *stream = nullptr;
    EXPECT_EQ(context().openStream(m_device, NUBRIX_STREAM_COLOR, &stream, nullptr, nullptr), -1);
    mayClose.open();
    closer.join();
    EXPECT_EQ(m_usb.countCalls("closeDevice usb:1"), 1U);
}

TEST_F(Threads, AStreamAndItsCameraAreClosedAtOnce)
{
    m_usb.freeRunning = true;
    for (int i = 0; i < 30; ++i) {
        NubrixDevice *const device = i == 0 ? m_device : open();
        NubrixStream *const stream = opened(NUBRIX_STREAM_COLOR, device);
        opened(NUBRIX_STREAM_DEPTH, device);
        std::thread closer([&] { EXPECT_THAT(context().closeStream(stream), AnyOf(0, -13)); });
        EXPECT_EQ(context().closeDevice(device), 0);
        closer.join();
        EXPECT_EQ(m_usb.device(), nullptr);
    }
}

TEST_F(Threads, AStreamIsDestroyedWhileItsCameraIsClosed)
{
    m_usb.freeRunning = true;
    for (int i = 0; i < 30; ++i) {
        NubrixDevice *const device = i == 0 ? m_device : open();
        NubrixStream *const stream = opened(NUBRIX_STREAM_COLOR, device);
        m_usb.takeCalls();
        std::thread destroyer([&] { EXPECT_THAT(destroyStream(stream), AnyOf(0, -13)); });
        EXPECT_EQ(context().closeDevice(device), 0);
        destroyer.join();
        const std::vector<std::string> calls = m_usb.takeCalls();
        const auto stopped = std::find(calls.begin(), calls.end(), "usb:1 stream 1 stop");
        const auto closed = std::find(calls.begin(), calls.end(), "closeDevice usb:1");
        EXPECT_LT(stopped - calls.begin(), closed - calls.begin());
    }
}

TEST_F(Threads, AStopTakesEffectAlsoWhileTheStreamIsBeingStarted)
{
    m_usb.freeRunning = true;
    Counter starting;
    Latch mayStart;
    m_usb.setHook([&](const std::string &call) {
        if (call == "usb:1 stream 1 start") {
            starting.add();
            EXPECT_TRUE(mayStart.pass());
        }
    });
    NubrixStream *const stream = created(NUBRIX_STREAM_COLOR);
    std::thread starter([&] { EXPECT_EQ(startStream(stream), 0); });
    ASSERT_TRUE(starting.reaches(1));
    std::thread stopper([&] { EXPECT_EQ(stopStream(stream), 0); });
    mayStart.open();
    starter.join();
    stopper.join();
    EXPECT_EQ(m_usb.countCalls("usb:1 stream 1 stop"), 1U);
    EXPECT_FALSE(m_usb.deliver(NUBRIX_STREAM_COLOR, {})) << "it does not run";
    EXPECT_EQ(context().closeStream(stream), 0);
}

TEST_F(Threads, StartsAndStopsOfOneStreamOnSeveralThreads)
{
    m_usb.freeRunning = true;
    NubrixStream *const stream = created(NUBRIX_STREAM_COLOR);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([&] {
            for (int i = 0; i < 20; ++i) {
                EXPECT_EQ(startStream(stream), 0);
                EXPECT_EQ(stopStream(stream), 0);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_FALSE(m_usb.deliver(NUBRIX_STREAM_COLOR, {})) << "the last call of each was a stop";
    EXPECT_EQ(m_usb.countCalls("usb:1 stream 1 start"), m_usb.countCalls("usb:1 stream 1 stop"));
    EXPECT_EQ(context().closeStream(stream), 0);
}

// --- callbacks that change

struct Pair {
    NubrixBaseContext *context;
    int function;
    Counter called;
};

template <int Number>
void check(NubrixStream *, typedefNubrixFrame *frame, void *user)
{
    auto &pair = *static_cast<Pair *>(user);
    EXPECT_EQ(pair.function, Number) << "one function with the other's data";
    EXPECT_EQ(pair.context->releaseFrame(frame), 0);
    pair.called.add();
}

TEST_F(Threads, ACallbackIsChangedTogetherWithItsData)
{
    m_usb.freeRunning = true;
    Pair one = {&context(), 1, {}};
    Pair two = {&context(), 2, {}};
    NubrixStream *const stream = openWith(&check<1>, &one);
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(context().setStreamCallback(stream, &check<2>, &two), 0);
        ASSERT_EQ(context().setStreamCallback(stream, &check<1>, &one), 0);
    }
    ASSERT_TRUE(one.called.reaches(one.called.value() + 3));
    ASSERT_EQ(context().setStreamCallback(stream, &check<2>, &two), 0);
    ASSERT_TRUE(two.called.reaches(two.called.value() + 3));
    ASSERT_EQ(context().closeStream(stream), 0);
}

TEST_F(Threads, FramesAreReleasedOnAnyThread)
{
    m_usb.freeRunning = true;
    NubrixStream *const stream = opened(NUBRIX_STREAM_COLOR);
    for (int i = 0; i < 30; ++i) {
        typedefNubrixFrame *frame = nullptr;
        while (context().readFrame(stream, &frame, 1000) != 0) {
        }
        std::thread([&] { EXPECT_EQ(context().releaseFrame(frame), 0); }).join();
    }
}

/// A camera that sends its next frame when the last one has been returned, a little later each
/// time.
class ReturningCamera {
public:
    ReturningCamera(FakeDriver &driver, unsigned int frames)
        : m_thread([this, &driver, frames] {
              for (unsigned int i = 0; i < frames; ++i) {
                  while (m_returned != i)
                      std::this_thread::yield();
                  for (m_delay = i % kDelays; m_delay != 0; --m_delay) {
                  }
                  ASSERT_TRUE(driver.deliver(NUBRIX_STREAM_COLOR, {i}));
              }
          })
    {
    }
    ~ReturningCamera() { m_thread.join(); }
    ReturningCamera(const ReturningCamera &) = delete;
    ReturningCamera &operator=(const ReturningCamera &) = delete;

    void takeBack() { ++m_returned; }

private:
    static constexpr unsigned int kDelays = 1000;

    std::atomic<unsigned int> m_returned{0};
    std::atomic<unsigned int> m_delay{0};
    std::thread m_thread;  // last: it uses the others
};

TEST_F(Threads, AReaderMissesNoFrameOfACameraThatWaitsForItsReturn)
{
    constexpr unsigned int kFrames = 20000;
    NubrixStream *const stream = opened(NUBRIX_STREAM_COLOR);
    ReturningCamera camera(m_usb, kFrames);
    for (unsigned int i = 0; i < kFrames; ++i) {
        typedefNubrixFrame *frame = nullptr;
        // Fails when the stream's thread announces a frame that was read before.
        while (context().readFrame(stream, &frame, -1) == -11) {
        }
        ASSERT_NE(frame, nullptr);
        EXPECT_EQ(frame->frameIndex, i);
        EXPECT_EQ(context().releaseFrame(frame), 0);
        camera.takeBack();
    }
}

// --- drivers that take their time

TEST_F(Threads, LookingUpDoesNotWaitForADriverThatLists)
{
    Counter listing;
    Latch mayList;
    m_usb.setHook([&](const std::string &call) {
        if (call == "getDeviceList 60") {
            listing.add();
            EXPECT_TRUE(mayList.pass());
        }
    });
    m_usb.announce("usb:1", "SN1", "1-1", NUBRIX_DEVICE_CONNECTED);
    ASSERT_TRUE(listing.reaches(1));
    typedefNubrixeviceAttribute *const record = context().getDeviceAttributeByUri("net:1");
    EXPECT_NE(record, nullptr);
    _NubrixGmslDeviceInfo *gmsl = nullptr;
    unsigned int count = 0;
    EXPECT_EQ(context().nubrixGetGmslDeviceList(&gmsl, &count), 0);
    NubrixDevice *device = nullptr;
    EXPECT_EQ(context().openDevice("net:1", &device), 0);
    mayList.open();
    ASSERT_TRUE(m_usb.waitForAnnouncements());
    EXPECT_STREQ(record->uri, "net:1");
}

TEST_F(Threads, AnUpgraderMayWaitForAnEventWhileItIsMade)
{
    m_usb.hasUpgrader = true;
    m_usb.setHook([&](const std::string &call) {
        if (call != "usb:1 createUpgradeIntance")
            return;
        m_usb.announce("usb:1", "SN1", "1-1", NUBRIX_DEVICE_CONNECTED);
        EXPECT_TRUE(m_usb.waitForAnnouncements());
    });
    EXPECT_EQ(context().deviceStartUpgradeOffLine(m_device, nullptr, "firmware"), 0);
}

TEST_F(Threads, AnUpgradeThatIsBeingStartedOutlivesItsCamera)
{
    m_usb.hasUpgrader = true;
    Counter starting;
    Latch mayStart;
    m_usb.setHook([&](const std::string &call) {
        if (call == "upgrader usb:1 start firmware") {
            starting.add();
            EXPECT_TRUE(mayStart.pass());
        }
    });
    std::thread starter(
        [&] { EXPECT_EQ(context().deviceStartUpgradeOffLine(m_device, nullptr, "firmware"), 0); });
    ASSERT_TRUE(starting.reaches(1));
    EXPECT_EQ(context().closeDevice(m_device), 0);
    EXPECT_EQ(m_usb.countCalls("upgrader usb:1 deleted"), 0U);
    mayStart.open();
    starter.join();
    EXPECT_EQ(m_usb.countCalls("upgrader usb:1 deleted"), 1U);
}

// --- everything at once

TEST_F(Threads, EventsOfTwoDriversLeaveOneGoodTable)
{
    std::thread reader([&] {
        for (int i = 0; i < 200; ++i) {
            typedefNubrixeviceAttribute *list = nullptr;
            unsigned int count = 0;
            EXPECT_EQ(context().nubrixGetDeviceList(&list, &count), 0);
            EXPECT_LE(count, 2U);
            context().getDeviceAttributeByUri("net:1");
        }
    });
    for (int i = 0; i < 100; ++i) {
        m_usb.announce("usb:1", "SN1", "1-1", NUBRIX_DEVICE_CONNECTED);
        m_net.announce("net:1", "SN2", "2-1", NUBRIX_DEVICE_CONNECTED);
    }
    reader.join();
    ASSERT_TRUE(m_usb.waitForAnnouncements());
    ASSERT_TRUE(m_net.waitForAnnouncements());
    typedefNubrixeviceAttribute *list = nullptr;
    unsigned int count = 0;
    ASSERT_EQ(context().nubrixGetDeviceList(&list, &count), 0);
    ASSERT_EQ(count, 2U);
    EXPECT_STREQ(list[0].uri, "usb:1");
    EXPECT_STREQ(list[1].uri, "net:1");
}

}  // namespace
}  // namespace nubrix
