// Operations from within callbacks that end what the callback belongs to.
#include <algorithm>
#include <atomic>
#include <functional>

#include "tests/context/ContextFixture.h"

namespace nubrix {
namespace {

using testing::AnyOf;

constexpr const char *kDestroyRefused =
    "3 destroy was called from within a callback or an operation, for which it would have to wait: "
    "call it on another thread";

class Reentry : public DeviceFixture {
protected:
    Reentry() { m_usb.freeRunning = true; }
    ~Reentry() override { m_usb.setHook({}); }

    /// Does something in its first call, and returns every frame.
    struct Receiver {
        NubrixBaseContext *context;
        std::function<void(NubrixStream *)> inFirstCall;
        Counter calls;
        Latch done;

        static void onFrame(NubrixStream *stream, typedefNubrixFrame *frame, void *user)
        {
            auto &self = *static_cast<Receiver *>(user);
            EXPECT_EQ(self.context->releaseFrame(frame), 0);
            self.calls.add();
            if (self.calls.value() != 1)
                return;
            self.inFirstCall(stream);
            self.done.open();
        }
    };

    NubrixStream *openWith(Receiver &receiver, unsigned int type = NUBRIX_STREAM_COLOR)
    {
        return openWith(receiver, type, m_device);
    }
    NubrixStream *openWith(Receiver &receiver, unsigned int type, NubrixDevice *device)
    {
        NubrixStream *stream = nullptr;
        EXPECT_EQ(context().openStream(device, type, &stream, &Receiver::onFrame, &receiver), 0);
        return stream;
    }
    /// That no frame comes any more, by another stream whose frames do.
    void expectNoMoreCalls(Receiver &receiver, NubrixDevice *device)
    {
        const int before = receiver.calls.value();
        NubrixStream *const other = opened(NUBRIX_STREAM_IR, device);
        for (int i = 0; i < 5; ++i) {
            typedefNubrixFrame *frame = nullptr;
            while (context().readFrame(other, &frame, 1000) != 0) {
            }
            EXPECT_EQ(context().releaseFrame(frame), 0);
        }
        EXPECT_EQ(receiver.calls.value(), before);
    }
};

TEST_F(Reentry, AStreamStopsItselfAndStartsAgain)
{
    Receiver receiver{&context(),
                      [&](NubrixStream *stream) {
                          EXPECT_EQ(stopStream(stream), 0);
                          EXPECT_EQ(m_usb.countCalls("usb:1 stream 1 stop"), 1U);
                      },
                      {},
                      {}};
    NubrixStream *const stream = openWith(receiver);
    ASSERT_TRUE(receiver.done.pass());
    expectNoMoreCalls(receiver, m_device);
    EXPECT_EQ(receiver.calls.value(), 1);
    ASSERT_EQ(startStream(stream), 0);
    ASSERT_EQ(context().setStreamCallback(stream, &Receiver::onFrame, &receiver), 0);
    EXPECT_TRUE(receiver.calls.reaches(3));
    EXPECT_EQ(context().closeStream(stream), 0);
}

TEST_F(Reentry, AStreamClosesItself)
{
    Receiver receiver{&context(),
                      [&](NubrixStream *stream) {
                          EXPECT_EQ(context().closeStream(stream), 0);
                          EXPECT_EQ(stopStream(stream), -13) << "the handle is gone";
                      },
                      {},
                      {}};
    openWith(receiver);
    ASSERT_TRUE(receiver.done.pass());
    expectNoMoreCalls(receiver, m_device);
}

TEST_F(Reentry, AStreamDestroysItselfWithoutAStop)
{
    Receiver receiver{&context(),
                      [&](NubrixStream *stream) {
                          EXPECT_EQ(destroyStream(stream), 0);
                          EXPECT_EQ(destroyStream(stream), -13);
                      },
                      {},
                      {}};
    openWith(receiver);
    ASSERT_TRUE(receiver.done.pass());
    expectNoMoreCalls(receiver, m_device);
}

TEST_F(Reentry, AStreamClosesItsCamera)
{
    Receiver receiver{&context(),
                      [&](NubrixStream *stream) {
                          EXPECT_EQ(context().closeDevice(m_device), 0);
                          EXPECT_EQ(stopStream(stream), -13);
                          EXPECT_EQ(context().closeDevice(m_device), -3);
                      },
                      {},
                      {}};
    opened(NUBRIX_STREAM_DEPTH);
    openWith(receiver);
    ASSERT_TRUE(receiver.done.pass());
    EXPECT_EQ(m_usb.countCalls("closeDevice usb:1"), 1U);
    expectNoMoreCalls(receiver, open());
}

TEST_F(Reentry, DestroyWaitsForACallbackThatClosedItsOwnStream)
{
    Latch closed;
    Latch mayReturn;
    std::atomic<bool> returned{false};
    Receiver receiver{&context(),
                      [&](NubrixStream *stream) {
                          EXPECT_EQ(context().closeStream(stream), 0);
                          closed.open();
                          EXPECT_TRUE(mayReturn.pass());
                          returned = true;
                      },
                      {},
                      {}};
    openWith(receiver);
    ASSERT_TRUE(closed.pass());
    m_log.setHook([&](const RecordedLine &line) {
        if (line.text == "begin release:close device") {
            EXPECT_TRUE(returned);
        }
    });
    std::thread opener([&] { mayReturn.open(); });
    EXPECT_EQ(context().destroy(), 0);
    EXPECT_TRUE(returned);
    opener.join();
    m_log.setHook({});
}

TEST_F(Reentry, ACallbackThatDestroyedItsOwnStreamIsWaitedForOnlyOnceItHasReturned)
{
    Latch destroyed;
    Latch mayReturn;
    Receiver receiver{&context(),
                      [&](NubrixStream *stream) {
                          EXPECT_EQ(destroyStream(stream), 0);
                          destroyed.open();
                          EXPECT_TRUE(mayReturn.pass());
                      },
                      {},
                      {}};
    openWith(receiver);
    ASSERT_TRUE(destroyed.pass());
    EXPECT_EQ(destroyStream(created(NUBRIX_STREAM_DEPTH)), 0);
    mayReturn.open();
    ASSERT_TRUE(receiver.done.pass());
    EXPECT_TRUE(eventually([&] {
        const std::vector<std::string> lines =
            logOf([&] { return destroyStream(created(NUBRIX_STREAM_DEPTH)); });
        return std::count(lines.begin(), lines.end(), "1 Thread[Stream CallBack] Stoped") == 1;
    }));
}

TEST_F(Reentry, TwoStreamsCloseEachOtherInTheirCallbacks)
{
    NubrixDevice *device = m_device;
    for (int round = 0; round < 20; ++round) {
        NubrixStream *streams[2] = {};
        Counter meeting;
        Latch both;
        const auto closeOther = [&](int other) {
            return [&, other](NubrixStream *) {
                meeting.add();
                EXPECT_TRUE(meeting.reaches(2));
                EXPECT_TRUE(both.pass());
                EXPECT_THAT(context().closeStream(streams[other]), AnyOf(0, -13));
            };
        };
        Receiver colour{&context(), closeOther(1), {}, {}};
        Receiver depth{&context(), closeOther(0), {}, {}};
        streams[0] = openWith(colour, NUBRIX_STREAM_COLOR, device);
        streams[1] = openWith(depth, NUBRIX_STREAM_DEPTH, device);
        both.open();
        ASSERT_TRUE(colour.done.pass());
        ASSERT_TRUE(depth.done.pass());
        EXPECT_EQ(stopStream(streams[0]), -13);
        EXPECT_EQ(stopStream(streams[1]), -13);
        // No thread of the streams is left when the camera is closed.
        ASSERT_EQ(context().closeDevice(device), 0);
        NubrixDevice *again = nullptr;
        ASSERT_EQ(context().openDevice("usb:1", &again), 0);
        device = again;
    }
}

TEST_F(Reentry, DestroyIsRefusedInAFrameCallback)
{
    Receiver receiver{&context(),
                      [&](NubrixStream *) {
                          EXPECT_EQ(outcome([&] { return context().destroy(); }),
                                    (Outcome{-1, 0, {kDestroyRefused}}));
                      },
                      {},
                      {}};
    NubrixStream *const stream = openWith(receiver);
    ASSERT_TRUE(receiver.done.pass());
    EXPECT_TRUE(receiver.calls.reaches(3)) << "it goes on";
    EXPECT_EQ(context().closeStream(stream), 0);
}

std::function<void()> g_onState;

void onState(const char *, const char *, unsigned int, void *)
{
    g_onState();
}

TEST_F(Reentry, DestroyIsRefusedInADeviceStateCallback)
{
    int result = 0;
    g_onState = [&] { result = context().destroy(); };
    ASSERT_EQ(context().setDeviceStateCallback(&onState, nullptr), 0);
    m_usb.announce("usb:1", "SN1", "1-1", NUBRIX_DEVICE_CONNECTED);
    ASSERT_TRUE(m_usb.waitForAnnouncements());
    EXPECT_EQ(result, -1);
    typedefNubrixeviceAttribute *list = nullptr;
    unsigned int count = 0;
    EXPECT_EQ(context().nubrixGetDeviceList(&list, &count), 0) << "nothing was destroyed";
}

TEST_F(Reentry, DestroyIsRefusedInAnUpgradesCallback)
{
    struct Given {
        NubrixBaseContext *context;
        int result;
    } given = {&context(), 0};
    m_usb.hasUpgrader = true;
    const typedefNubrixUpgradeCallbacks callbacks = {[](NubrixDevice *, int, void *user) {
                                                         auto &self = *static_cast<Given *>(user);
                                                         self.result = self.context->destroy();
                                                     },
                                                     nullptr, &given};
    EXPECT_EQ(context().deviceStartUpgradeOffLine(m_device, &callbacks, "firmware"), 0);
    EXPECT_EQ(given.result, -1);
}

TEST_F(Reentry, ACallbackReadsWhileItsStreamIsDestroyed)
{
    NubrixStream *const idle = created(NUBRIX_STREAM_LIGHT_IR);
    Counter destroying;
    Receiver receiver{&context(),
                      [&](NubrixStream *) {
                          EXPECT_TRUE(destroying.reaches(1));
                          typedefNubrixFrame *frame = nullptr;
                          for (int i = 0; i < 10; ++i)
                              EXPECT_EQ(context().readFrame(idle, &frame, 10), -11);
                      },
                      {},
                      {}};
    NubrixStream *const stream = openWith(receiver);
    ASSERT_TRUE(receiver.calls.reaches(1));
    std::thread destroyer([&] { EXPECT_EQ(destroyStream(stream), 0); });
    destroying.add();
    destroyer.join();
    EXPECT_TRUE(receiver.done.isOpen());
}

}  // namespace
}  // namespace nubrix
