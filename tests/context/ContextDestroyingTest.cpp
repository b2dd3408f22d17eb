// destroy, whatever else is going on meanwhile.
#include <unistd.h>

#include <atomic>
#include <functional>

#include "tests/context/ContextFixture.h"

namespace nubrix {
namespace {

using testing::AnyOf;

constexpr unsigned int kTypes[] = {NUBRIX_STREAM_COLOR, NUBRIX_STREAM_DEPTH, NUBRIX_STREAM_IR,
                                   NUBRIX_STREAM_LIGHT_IR};

/// Runs destroy on a thread of its own, and knows when it has begun.
class Destroying : public DeviceFixture {
protected:
    ~Destroying() override { m_log.setHook({}); }

    std::thread destroying()
    {
        return std::thread([this] {
            m_log.setHook([this, self = std::this_thread::get_id()](const RecordedLine &line) {
                if (line.thread == self)
                    m_destroyBegun.add();
            });
            EXPECT_EQ(context().destroy(), 0);
            m_destroyed = true;
        });
    }
    /// Blocks an operation of the driver until destroy has begun.
    void holdUp(const std::string &operation)
    {
        m_usb.setHook([this, operation](const std::string &call) {
            if (call == operation) {
                m_heldUp.add();
                EXPECT_TRUE(m_destroyBegun.reaches(1));
            }
        });
    }
    NubrixStream *openWith(NubrixFrameCallback callback, void *user,
                           unsigned int type = NUBRIX_STREAM_COLOR)
    {
        NubrixStream *stream = nullptr;
        EXPECT_EQ(context().openStream(m_device, type, &stream, callback, user), 0);
        return stream;
    }

    Counter m_destroyBegun;
    std::atomic<bool> m_destroyed{false};
    Counter m_heldUp;
};

void give(NubrixStream *, typedefNubrixFrame *frame, void *user)
{
    EXPECT_EQ(static_cast<NubrixBaseContext *>(user)->releaseFrame(frame), 0);
}

std::function<void()> g_onState;

void onState(const char *, const char *, unsigned int, void *)
{
    g_onState();
}

TEST_F(Destroying, DestroyWaitsForAnEventThatTheApplicationHandles)
{
    Counter inCallback;
    g_onState = [&] {
        inCallback.add();
        EXPECT_TRUE(m_destroyBegun.reaches(1));
        typedefNubrixeviceAttribute *list = nullptr;
        unsigned int count = 0;
        EXPECT_EQ(context().nubrixGetDeviceList(&list, &count), 0) << "it is not destroyed yet";
        EXPECT_FALSE(m_destroyed);
        m_usb.record("event handled");
    };
    ASSERT_EQ(context().setDeviceStateCallback(&onState, nullptr), 0);
    m_usb.announce("usb:1", "SN1", "1-1", NUBRIX_DEVICE_DISCONNECTED);
    ASSERT_TRUE(inCallback.reaches(1));
    m_usb.takeCalls();
    destroying().join();
    EXPECT_THAT(m_usb.calls(),
                testing::ElementsAre("event handled", "closeDevice usb:1", "driverDestroy"));
}

TEST_F(Destroying, DestroyWaitsForAnEventDuringWhichADriverIsQueried)
{
    holdUp("getDeviceList 60");
    m_usb.announce("usb:1", "SN1", "1-1", NUBRIX_DEVICE_CONNECTED);
    ASSERT_TRUE(m_heldUp.reaches(1));
    destroying().join();
}

TEST_F(Destroying, DestroyAgainstAStreamOfEvents)
{
    g_onState = [&] {
        typedefNubrixeviceAttribute *list = nullptr;
        unsigned int count = 0;
        context().nubrixGetDeviceList(&list, &count);
    };
    for (int life = 0; life < 20; ++life) {
        ASSERT_EQ(context().setDeviceStateCallback(&onState, nullptr), 0);
        for (int i = 0; i < 5; ++i) {
            m_usb.announce("usb:1", "SN1", "1-1", NUBRIX_DEVICE_CONNECTED);
            m_net.announce("net:1", "SN2", "2-1", NUBRIX_DEVICE_CONNECTED);
        }
        ASSERT_EQ(context().destroy(), 0);
        ASSERT_EQ(context().initialize(), 0);
    }
}

TEST_F(Destroying, DestroyWaitsForACameraThatIsBeingOpened)
{
    holdUp("openDevice usb:1");
    ASSERT_EQ(context().closeDevice(m_device), 0);
    NubrixDevice *device = nullptr;
    std::thread opener([&] { EXPECT_EQ(context().openDevice("usb:1", &device), 0); });
    ASSERT_TRUE(m_heldUp.reaches(1));
    destroying().join();
    opener.join();
    EXPECT_EQ(m_usb.countCalls("closeDevice usb:1"), 2U) << "nothing stays open";
}

TEST_F(Destroying, DestroyWaitsForACameraThatIsBeingClosed)
{
    holdUp("closeDevice usb:1");
    std::thread closer([&] { EXPECT_EQ(context().closeDevice(m_device), 0); });
    ASSERT_TRUE(m_heldUp.reaches(1));
    destroying().join();
    closer.join();
    EXPECT_EQ(m_usb.countCalls("closeDevice usb:1"), 1U);
}

TEST_F(Destroying, OperationsOnOtherThreadsWaitForDestroyAndAreRefused)
{
    holdUp("closeDevice usb:1");
    std::thread destroyer = destroying();
    ASSERT_TRUE(m_heldUp.reaches(1));
    typedefNubrixeviceAttribute *list = nullptr;
    unsigned int count = 0;
    EXPECT_EQ(context().nubrixGetDeviceList(&list, &count), -2);
    EXPECT_EQ(context().closeDevice(m_device), -2);
    destroyer.join();
}

TEST_F(Destroying, OneOfTwoDestroysIsRefused)
{
    std::atomic<int> sum{0};
    std::thread other([&] { sum += context().destroy(); });
    sum += context().destroy();
    other.join();
    EXPECT_EQ(sum, -2);
    EXPECT_EQ(m_usb.countCalls("driverDestroy"), 1U);
}

TEST_F(Destroying, TwoInitializesLoadTheDriversOnce)
{
    ASSERT_EQ(context().destroy(), 0);
    m_usb.takeCalls();
    std::thread other([&] { EXPECT_EQ(context().initialize(), 0); });
    EXPECT_EQ(context().initialize(), 0);
    other.join();
    EXPECT_EQ(m_usb.countCalls("initialize"), 1U);
}

TEST_F(Destroying, DestroyAgainstCallbacksThatReleaseFrames)
{
    m_usb.freeRunning = true;
    for (int life = 0; life < 5; ++life) {
        NubrixDevice *const device = life == 0 ? m_device : open();
        for (const unsigned int type : kTypes) {
            NubrixStream *stream = nullptr;
            ASSERT_EQ(context().openStream(device, type, &stream, &give, &context()), 0);
        }
        ASSERT_EQ(context().destroy(), 0);
        ASSERT_EQ(context().initialize(), 0);
    }
}

struct OtherStream {
    NubrixBaseContext *context;
    std::function<int(NubrixStream *)> destroyStream;
    NubrixStream *stream;
    Counter inCallback;
    Counter goOn;
};

TEST_F(Destroying, ACallbackCannotDestroyAStreamOnceDestroyHasBegun)
{
    OtherStream other = {&context(),
                         [this](NubrixStream *stream) { return destroyStream(stream); },
                         opened(NUBRIX_STREAM_DEPTH),
                         {},
                         {}};
    openWith(
        [](NubrixStream *, typedefNubrixFrame *frame, void *user) {
            auto &given = *static_cast<OtherStream *>(user);
            given.inCallback.add();
            EXPECT_TRUE(given.goOn.reaches(1));
            EXPECT_EQ(given.destroyStream(given.stream), -2);
            EXPECT_EQ(given.context->releaseFrame(frame), 0);
        },
        &other);
    ASSERT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, {}));
    ASSERT_TRUE(other.inCallback.reaches(1));
    std::thread destroyer = destroying();
    ASSERT_TRUE(m_destroyBegun.reaches(1));
    other.goOn.add();
    destroyer.join();
}

TEST_F(Destroying, AStreamIsDestroyedWhileTheContextIs)
{
    m_usb.freeRunning = true;
    for (int i = 0; i < 30; ++i) {
        NubrixDevice *const device = i == 0 ? m_device : open();
        NubrixStream *const stream = opened(NUBRIX_STREAM_COLOR, device);
        std::thread destroyer([&] { EXPECT_THAT(destroyStream(stream), AnyOf(0, -2, -13)); });
        EXPECT_EQ(context().destroy(), 0);
        destroyer.join();
        ASSERT_EQ(context().initialize(), 0);
    }
}

TEST_F(Destroying, DestroyWaitsForOneThatWaitsForItsTurn)
{
    Counter inDriver;
    std::atomic<int> second{0};
    m_usb.setHook([&](const std::string &call) {
        if (call != "driverDestroy")
            return;
        inDriver.add();
        EXPECT_TRUE(eventually([&] { return second != 0 && hasFallenAsleep(second); }));
    });
    std::thread later([&] {
        EXPECT_TRUE(inDriver.reaches(1));
        second = ::gettid();
        EXPECT_EQ(context().destroy(), -2);
    });
    EXPECT_EQ(context().destroy(), 0);
    EXPECT_EQ(m_log.count(kNotInitialized), 1U) << "the context may be deleted now";
    later.join();
}

TEST_F(Destroying, DestroyInTheMiddleOfEverything)
{
    for (int life = 0; life < 5; ++life) {
        m_usb.freeRunning = true;
        NubrixDevice *const device = life == 0 ? m_device : open();
        std::atomic<bool> end{false};
        std::vector<std::thread> threads;
        for (const unsigned int type : kTypes) {
            threads.emplace_back([&, type] {
                while (!end) {
                    NubrixStream *stream = nullptr;
                    typedefNubrixFrame *frame = nullptr;
                    if (context().openStream(device, type, &stream, nullptr, nullptr) != 0)
                        continue;
                    if (context().readFrame(stream, &frame, 5) == 0)
                        context().releaseFrame(frame);
                    context().closeStream(stream);
                }
            });
        }
        threads.emplace_back([&] {
            while (!end) {
                m_usb.announce("usb:1", "SN1", "1-1", NUBRIX_DEVICE_CONNECTED);
                m_usb.waitForAnnouncements();
            }
        });
        ASSERT_TRUE(eventually([&] { return m_usb.countCalls("usb:1 stream 1 start") > 2; }));
        EXPECT_EQ(context().destroy(), 0);
        end = true;
        for (std::thread &thread : threads)
            thread.join();
        m_usb.takeCalls();
        ASSERT_EQ(context().initialize(), 0);
    }
}

}  // namespace
}  // namespace nubrix
