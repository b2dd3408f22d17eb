// Single steps of the stress test: what is torn down while something else is using it.
#include <gmock/gmock.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <ostream>
#include <string>
#include <thread>
#include <utility>

#include "tests/TemporaryFolder.h"
#include "tests/fakes/HangGuard.h"
#include "tests/stress/StallWatch.h"
#include "tests/stress/VirtualLibrary.h"

namespace nubrix {
namespace {

using std::chrono::milliseconds;
using testing::AnyOf;

constexpr int kDestroyedMeanwhile = -2;

/// Two cameras, LEFT and RIGHT.
class TeardownTest : public testing::Test {
protected:
    TeardownTest() { initialize(); }
    ~TeardownTest() override
    {
        m_context->destroy();
        m_library.deleteContext(m_context);
    }

    void initialize()
    {
        m_context = m_library.context();
        EXPECT_EQ(m_context->initialize(), 0);
    }
    NubrixDevice *open(const char *serial)
    {
        NubrixDevice *device = nullptr;
        EXPECT_EQ(m_context->openDevice(virtualUri(serial).c_str(), &device), 0);
        return device;
    }
    NubrixStream *stream(NubrixDevice *device, NubrixFrameCallback callback, void *user,
                         unsigned int type = NUBRIX_STREAM_COLOR)
    {
        NubrixStream *opened = nullptr;
        EXPECT_EQ(m_context->openStream(device, type, &opened, callback, user), 0);
        return opened;
    }

    StallWatch m_watch{2 * std::chrono::seconds(NUBRIX_STRESS_STALL_S), "a test of the tear-down"};
    StallWatch::Call m_wholeTest{m_watch, "the whole test"};
    VirtualLibrary m_library{R"(["LEFT", "RIGHT"])"};
    NubrixBaseContext *m_context = nullptr;
};

/// Does something in the first call of a frame callback, and releases every frame.
class Once {
public:
    using Action = std::function<int(NubrixStream *)>;

    Once(NubrixBaseContext *context, Action action)
        : m_context(context), m_action(std::move(action))
    {
    }
    static void onFrame(NubrixStream *stream, typedefNubrixFrame *frame, void *user)
    {
        auto *const self = static_cast<Once *>(user);
        self->m_context->releaseFrame(frame);
        self->calls.add();
        if (self->m_begun.exchange(true))
            return;
        self->begun.open();
        self->status = self->m_action(stream);
        self->done.open();
    }

    Counter calls;
    Latch begun;
    Latch done;
    std::atomic<int> status{1};

private:
    NubrixBaseContext *const m_context;
    const Action m_action;
    std::atomic<bool> m_begun{false};
};

// --- closing a camera from a callback of another one while the context is destroyed

class CloseAnotherTest : public TeardownTest, public testing::WithParamInterface<int> {};

TEST_P(CloseAnotherTest, TheCameraOutlivesItsStreamsWhateverDestroyDoes)
{
    NubrixDevice *const left = open("LEFT");
    NubrixDevice *const right = open("RIGHT");
    // Streams with callbacks, because those take their time to stop.
    Once others{m_context, [](NubrixStream *) { return 0; }};
    for (const unsigned int type : {NUBRIX_STREAM_COLOR, NUBRIX_STREAM_DEPTH})
        stream(right, &Once::onFrame, &others, type);
    Once closing{m_context, [&](NubrixStream *) { return m_context->closeDevice(right); }};
    stream(left, &Once::onFrame, &closing);
    ASSERT_TRUE(closing.begun.pass());
    std::this_thread::sleep_for(milliseconds(GetParam()));  // into the middle of the closing
    EXPECT_EQ(m_context->destroy(), 0);
    ASSERT_TRUE(closing.done.isOpen()) << "destroy has not waited for the callback";
    EXPECT_THAT(closing.status.load(), AnyOf(0, kDestroyedMeanwhile));
}

INSTANTIATE_TEST_SUITE_P(AfterMilliseconds, CloseAnotherTest,
                         testing::Values(0, 1, 2, 5, 10, 15, 20, 25, 30, 40, 50, 60));

// --- waiting

TEST_F(TeardownTest, DestroyWakesThreadsThatWaitForeverAndTheContextMayBeDeletedAtOnce)
{
    NubrixDevice *const left = open("LEFT");
    NubrixStream *idle = stream(left, nullptr, nullptr);
    ASSERT_EQ(stopStream(m_context, idle), 0);
    std::atomic<int> waited{1};
    std::atomic<int> read{1};
    std::atomic<int> waiterId{0};
    std::atomic<int> readerId{0};
    std::thread waiter([&] {
        NubrixStream *ready = nullptr;
        waiterId = ::gettid();
        waited = m_context->waitForStreams(&idle, 1, &ready, -1);
    });
    std::thread reader([&] {
        typedefNubrixFrame *frame = nullptr;
        readerId = ::gettid();
        read = m_context->readFrame(idle, &frame, -1);
    });
    ASSERT_TRUE(eventually([&] { return waiterId != 0 && hasFallenAsleep(waiterId); }));
    ASSERT_TRUE(eventually([&] { return readerId != 0 && hasFallenAsleep(readerId); }));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(m_context->destroy(), 0);
    m_library.deleteContext(m_context);
    waiter.join();
    reader.join();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_EQ(waited, -9);
    EXPECT_EQ(read, -9);
    initialize();
}

// --- reading in a callback while its stream is destroyed

TEST_F(TeardownTest, AStreamMayBeDestroyedWhileItsCallbackReads)
{
    NubrixDevice *const left = open("LEFT");
    NubrixDevice *const right = open("RIGHT");
    NubrixStream *const idle = stream(right, nullptr, nullptr);
    ASSERT_EQ(stopStream(m_context, idle), 0);
    Latch destroying;
    Once reading{m_context, [&](NubrixStream *) {
                     EXPECT_TRUE(destroying.pass());
                     typedefNubrixFrame *frame = nullptr;
                     // Again and again, so that one begins once the stream is being deleted.
                     for (int i = 0; i < 20; ++i) {
                         const int status = m_context->readFrame(idle, &frame, 20);
                         EXPECT_EQ(status, -11);
                     }
                     return 0;
                 }};
    NubrixStream *const delivering = stream(left, &Once::onFrame, &reading);
    ASSERT_TRUE(reading.begun.pass());
    destroying.open();
    EXPECT_EQ(destroyStream(m_context, delivering), 0);
    EXPECT_TRUE(reading.done.isOpen());
    EXPECT_EQ(reading.status, 0);
}

// --- upgrades

TEST_F(TeardownTest, AnUpgradeWhoseCallbackClosesItsCameraStillReportsItsEnd)
{
    struct Given {
        NubrixBaseContext *context;
        NubrixDevice *device;
        int closed = 1;
        int destroyed = 0;
        int status = 0;
        Latch finished;
    } given = {m_context, open("LEFT"), 1, 0, 0, {}};
    const typedefNubrixUpgradeCallbacks callbacks = {
        [](NubrixDevice *, int, void *user) {
            auto &self = *static_cast<Given *>(user);
            if (self.closed == 1)
                self.closed = self.context->closeDevice(self.device);
        },
        [](NubrixDevice *, int status, void *user) {
            auto &self = *static_cast<Given *>(user);
            self.destroyed = self.context->destroy();
            self.status = status;
            self.finished.open();
        },
        &given};
    const std::string firmware = m_library.writeFirmware();
    ASSERT_EQ(m_context->deviceStartUpgradeOffLine(given.device, &callbacks, firmware.c_str()), 0);
    ASSERT_TRUE(given.finished.pass());
    EXPECT_EQ(given.closed, 0);
    EXPECT_NE(given.status, 0) << "it was broken off";
    EXPECT_EQ(given.destroyed, -1);
}

TEST_F(TeardownTest, AFrameCallbackMayCloseACameraWhoseUpgradeClosesItsStream)
{
    NubrixDevice *const left = open("LEFT");
    NubrixDevice *const right = open("RIGHT");
    Counter inside;
    Once closing{m_context, [&](NubrixStream *) {
                     inside.add();
                     EXPECT_TRUE(inside.reaches(2));
                     return m_context->closeDevice(left);
                 }};
    struct Upgrade {
        NubrixBaseContext *context;
        Counter &inside;
        NubrixStream *stream;
        int closed = 1;
        Latch finished;
    } upgrade = {m_context, inside, stream(right, &Once::onFrame, &closing), 1, {}};
    const typedefNubrixUpgradeCallbacks callbacks = {
        [](NubrixDevice *, int, void *user) {
            auto &self = *static_cast<Upgrade *>(user);
            if (self.closed != 1)
                return;
            self.inside.add();
            EXPECT_TRUE(self.inside.reaches(2));
            self.closed = self.context->closeStream(self.stream);
        },
        [](NubrixDevice *, int, void *user) { static_cast<Upgrade *>(user)->finished.open(); },
        &upgrade};
    const std::string firmware = m_library.writeFirmware();
    ASSERT_EQ(m_context->deviceStartUpgradeOffLine(left, &callbacks, firmware.c_str()), 0);
    ASSERT_TRUE(closing.done.pass());
    ASSERT_TRUE(upgrade.finished.pass());
    EXPECT_EQ(closing.status, 0);
    EXPECT_EQ(upgrade.closed, 0);
    EXPECT_EQ(m_context->destroy(), 0);
}

// --- what a callback may do with its own stream

struct OwnEnd {
    const char *name;
    std::function<int(NubrixBaseContext *, NubrixDevice *, NubrixStream *)> call;
    int afterwards;  // what stopStream gives in the callback
};

void PrintTo(const OwnEnd &end, std::ostream *out)
{
    *out << end.name;
}

class OwnEndTest : public TeardownTest, public testing::WithParamInterface<OwnEnd> {};

TEST_P(OwnEndTest, TheCallbackIsNotCalledAgain)
{
    NubrixDevice *const left = open("LEFT");
    NubrixDevice *const right = open("RIGHT");
    std::atomic<int> afterwards{1};
    Once ending{m_context, [&](NubrixStream *own) {
                    const int status = GetParam().call(m_context, left, own);
                    afterwards = stopStream(m_context, own);
                    return status;
                }};
    stream(left, &Once::onFrame, &ending);
    ASSERT_TRUE(ending.done.pass());
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(afterwards, GetParam().afterwards);
    // As many frames as would have come meanwhile.
    Once other{m_context, [](NubrixStream *) { return 0; }};
    stream(right, &Once::onFrame, &other);
    EXPECT_TRUE(other.calls.reaches(10));
    EXPECT_EQ(ending.calls.value(), 1);
    EXPECT_EQ(m_context->closeDevice(right), 0);
}

INSTANTIATE_TEST_SUITE_P(
    By, OwnEndTest,
    testing::Values(OwnEnd{"stopStream",
                           [](NubrixBaseContext *context, NubrixDevice *, NubrixStream *own) {
                               return stopStream(context, own);
                           },
                           0},
                    OwnEnd{"destroyStream",
                           [](NubrixBaseContext *context, NubrixDevice *, NubrixStream *own) {
                               return destroyStream(context, own);
                           },
                           -13},
                    OwnEnd{"closeStream",
                           [](NubrixBaseContext *context, NubrixDevice *, NubrixStream *own) {
                               return context->closeStream(own);
                           },
                           -13},
                    OwnEnd{"closeDevice",
                           [](NubrixBaseContext *context, NubrixDevice *device, NubrixStream *) {
                               return context->closeDevice(device);
                           },
                           -13}),
    [](const auto &each) { return std::string(each.param.name); });

TEST_F(TeardownTest, DestroyIsRefusedInAFrameCallbackAndTheStreamGoesOn)
{
    NubrixDevice *const left = open("LEFT");
    Once destroying{m_context, [&](NubrixStream *) { return m_context->destroy(); }};
    NubrixStream *const delivering = stream(left, &Once::onFrame, &destroying);
    ASSERT_TRUE(destroying.done.pass());
    EXPECT_EQ(destroying.status, -1);
    EXPECT_TRUE(destroying.calls.reaches(3));
    EXPECT_EQ(m_context->closeStream(delivering), 0);
}

// --- two callbacks that close each other's stream

TEST_F(TeardownTest, TwoCallbacksMayCloseEachOthersStreams)
{
    NubrixDevice *const left = open("LEFT");
    NubrixDevice *const right = open("RIGHT");
    std::atomic<NubrixStream *> streams[2] = {nullptr, nullptr};
    Counter inside;
    Latch opened;
    const auto closeThe = [&](int other) {
        return [&, other](NubrixStream *) {
            inside.add();
            EXPECT_TRUE(inside.reaches(2));
            EXPECT_TRUE(opened.pass());
            return m_context->closeStream(streams[other]);
        };
    };
    Once first{m_context, closeThe(1)};
    Once second{m_context, closeThe(0)};
    streams[0] = stream(left, &Once::onFrame, &first);
    streams[1] = stream(right, &Once::onFrame, &second);
    opened.open();
    ASSERT_TRUE(first.done.pass());
    ASSERT_TRUE(second.done.pass());
    EXPECT_EQ(first.status, 0);
    EXPECT_EQ(second.status, 0);
}

}  // namespace
}  // namespace nubrix
