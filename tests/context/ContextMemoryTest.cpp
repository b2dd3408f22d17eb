// Operations for which there is no memory.
#include <filesystem>
#include <functional>

#include "tests/TemporaryFolder.h"
#include "tests/context/ContextInside.h"
#include "tests/fakes/FailingNew.h"

namespace nubrix {

NUBRIX_REACH(devices, HandleTable<Device>);
NUBRIX_REACH(recorders, HandleTable<StreamRecorder>);

namespace {

constexpr const char *kStopped = "usb:1 stream 1 stop";

class NoMemory : public InsideOf<Context> {
protected:
    NoMemory() { m_usb.hasUpgrader = true; }

    /// Fails each allocation of an operation in turn: the answer is -1 and `unchanged` holds. One
    /// of the log's fails nothing; then the operation is undone. At last it succeeds.
    static void expectFailures(const std::function<int()> &operation,
                               const std::function<bool()> &unchanged,
                               const std::function<void()> &undo)
    {
        int status = 1;
        int refused = 0;
        failEachAllocation(
            [&] {
                status = 1;
                status = operation();
            },
            [&] {
                if (status == 0) {
                    undo();
                    return;
                }
                ++refused;
                EXPECT_EQ(status, -1);
                EXPECT_TRUE(unchanged());
            });
        EXPECT_GT(refused, 0);
        EXPECT_EQ(status, 0);
    }
    bool isStarted(NubrixStream *stream)
    {
        xp<NubrixFrameRef> frame;
        return reach(m_context, streams()).find(stream)->readFrame(frame, false) != -2;
    }
    std::size_t streamCount() { return reach(m_context, streams()).size(); }
};

TEST_F(NoMemory, ACameraIsNotLeftOpen)
{
    NubrixDevice *device = nullptr;
    const auto close = [&] {
        EXPECT_EQ(m_context.closeDevice(device), 0);
        device = nullptr;
    };
    expectFailures(
        [&] { return m_context.openDevice("usb:1", &device); },
        [&] { return !device && !m_usb.device() && reach(m_context, devices()).size() == 0; },
        close);
    close();
}

TEST_F(NoMemory, AStreamIsNotHalfThere)
{
    NubrixDevice *const device = open("usb:1");
    NubrixStream *stream = nullptr;
    expectFailures([&] { return m_context.createStream(device, NUBRIX_STREAM_COLOR, &stream); },
                   [&] { return !stream && streamCount() == 0; },
                   [&] {
                       EXPECT_EQ(m_context.destroyStream(stream), 0);
                       stream = nullptr;
                   });
    EXPECT_EQ(m_context.destroyStream(stream), 0);
}

TEST_F(NoMemory, AWaitLeavesNothingConnected)
{
    NubrixDevice *const device = open("usb:1");
    NubrixStream *stream = nullptr;
    ASSERT_EQ(m_context.createStream(device, NUBRIX_STREAM_COLOR, &stream), 0);
    ASSERT_EQ(m_context.startStream(stream), 0);
    const auto wait = [&] { return m_context.waitForStreams(&stream, 1, nullptr, 0); };
    int status = 0;
    failEachAllocation(
        [&] {
            status = 1;
            status = wait();
        },
        [&] { EXPECT_THAT(status, testing::AnyOf(-1, -11)); });
    EXPECT_EQ(status, -11);
    EXPECT_EQ(m_context.closeStream(stream), 0);
}

TEST_F(NoMemory, ARecorderIsNotHalfThere)
{
    const TemporaryFolder folder;
    const std::string path = folder.file("record");
    NubrixRecord *recorder = nullptr;
    expectFailures([&] { return m_context.createRecorder(path.c_str(), &recorder); },
                   [&] { return !recorder && reach(m_context, recorders()).size() == 0; },
                   [&] {
                       EXPECT_EQ(m_context.destroyRecorder(recorder), 0);
                       recorder = nullptr;
                   });
    EXPECT_EQ(m_context.destroyRecorder(recorder), 0);
}

TEST_F(NoMemory, ACameraIsClosedOrStaysOpen)
{
    NubrixDevice *device = open("usb:1");
    NubrixStream *stream = nullptr;
    const auto prepare = [&] {
        device = device ? device : open("usb:1");
        ASSERT_EQ(m_context.openStream(device, NUBRIX_STREAM_COLOR, &stream, nullptr, nullptr), 0);
    };
    prepare();
    expectFailures([&] { return m_context.closeDevice(device); },
                   [&] { return reach(m_context, devices()).find(device) && m_usb.device(); },
                   [&] {
                       EXPECT_FALSE(m_usb.device());
                       device = nullptr;
                       prepare();
                   });
    EXPECT_FALSE(m_usb.device());
}

TEST_F(NoMemory, AStreamIsStartedOrIsNot)
{
    NubrixDevice *const device = open("usb:1");
    NubrixStream *stream = nullptr;
    ASSERT_EQ(m_context.createStream(device, NUBRIX_STREAM_COLOR, &stream), 0);
    expectFailures([&] { return m_context.startStream(stream); },
                   [&] { return !m_usb.deliver(NUBRIX_STREAM_COLOR, {}) && !isStarted(stream); },
                   [&] { EXPECT_EQ(m_context.stopStream(stream), 0); });
    EXPECT_TRUE(isStarted(stream));
    EXPECT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, {}));
}

TEST_F(NoMemory, AStreamThatDoesNotStopCanBeStoppedAgain)
{
    NubrixDevice *const device = open("usb:1");
    NubrixStream *stream = nullptr;
    const auto prepare = [&] {
        ASSERT_EQ(m_context.openStream(device, NUBRIX_STREAM_COLOR, &stream, nullptr, nullptr), 0);
    };
    prepare();
    expectFailures([&] { return m_context.closeStream(stream); },
                   [&] { return streamCount() == 1 && m_usb.countCalls(kStopped) == 0; },
                   [&] {
                       EXPECT_EQ(m_usb.countCalls(kStopped), 1U);
                       m_usb.takeCalls();
                       prepare();
                   });
    EXPECT_EQ(m_usb.countCalls(kStopped), 1U);
    EXPECT_EQ(streamCount(), 0U);
}

TEST_F(NoMemory, AStreamIsDestroyedWithItsHandle)
{
    NubrixDevice *const device = open("usb:1");
    const TemporaryFolder folder;
    NubrixRecord *recorder = nullptr;
    ASSERT_EQ(m_context.createRecorder(folder.file("record").c_str(), &recorder), 0);
    NubrixStream *stream = nullptr;
    const auto prepare = [&] {
        ASSERT_EQ(m_context.createStream(device, NUBRIX_STREAM_COLOR, &stream), 0);
    };
    prepare();
    expectFailures([&] { return m_context.destroyStream(stream); },
                   [&] { return reach(m_context, streams()).find(stream) != nullptr; }, prepare);
    EXPECT_EQ(streamCount(), 0U);
    EXPECT_TRUE(reach(m_context, streams()).retired().empty());
}

TEST_F(NoMemory, APhotoOverwritesNothing)
{
    const TemporaryFolder folder;
    const std::string path = folder.file("photo.bmp");
    writeFile(path, "before");
    NubrixStream *stream = nullptr;
    m_usb.frameBufferSize = 12;
    ASSERT_EQ(m_context.openStream(open("usb:1"), NUBRIX_STREAM_COLOR, &stream, nullptr, nullptr),
              0);
    FakeFrame frame;
    frame.width = 2;
    frame.height = 2;
    frame.pixels.resize(12);
    ASSERT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, frame));
    expectFailures([&] { return m_context.takePhoto(path.c_str()); },
                   [&] { return readFile(path) == "before"; }, [&] { writeFile(path, "before"); });
    EXPECT_EQ(readFile(path).substr(0, 2), "BM");
}

TEST_F(NoMemory, DestroyCanBeCalledAgain)
{
    const TemporaryFolder folder;
    const auto prepare = [&] {
        initializeInside();
        NubrixStream *stream = nullptr;
        NubrixRecord *recorder = nullptr;
        NubrixDevice *const device = open("usb:1");
        ASSERT_EQ(m_context.openStream(device, NUBRIX_STREAM_COLOR, &stream, nullptr, nullptr), 0);
        ASSERT_EQ(m_context.createRecorder(folder.file("record").c_str(), &recorder), 0);
        ASSERT_EQ(m_context.recorderAttachStream(recorder, stream), 0);
    };
    m_usb.setCurrentMode({NUBRIX_PIXEL_RGB888, 2, 2, 30});
    prepare();
    expectFailures([&] { return m_context.destroy(); },
                   [&] { return reach(m_context, initialized()).load(); },
                   [&] {
                       EXPECT_FALSE(m_usb.device());
                       prepare();
                   });
    EXPECT_FALSE(m_usb.device());
    EXPECT_EQ(streamCount(), 0U);
    EXPECT_EQ(reach(m_context, recorders()).size(), 0U);
}

TEST_F(NoMemory, AnUpgradeIsNotStarted)
{
    NubrixDevice *const device = open("usb:1");
    const typedefNubrixUpgradeCallbacks callbacks = {[](NubrixDevice *, int, void *) {}, nullptr,
                                                     nullptr};
    expectFailures(
        [&] { return m_context.deviceStartUpgradeOffLine(device, &callbacks, "firmware"); },
        [] { return true; }, [] {});
}

TEST_F(NoMemory, ADeviceStateCallbackIsNotRegisteredTwice)
{
    expectFailures(
        [&] {
            return m_context.setDeviceStateCallback(
                [](const char *, const char *, unsigned int, void *) {}, nullptr);
        },
        [] { return true; }, [] {});
}

TEST_F(NoMemory, ADriversThreadSeesNoException)
{
    int raised = 0;
    failEachAllocation(
        [&] {
            m_context.onDeviceState("usb:1", "SN1", "1-1", NUBRIX_DEVICE_CONNECTED);
            ++raised;
        },
        [] {});
    EXPECT_GT(raised, 1);
    typedefNubrixeviceAttribute *list = nullptr;
    unsigned int count = 0;
    ASSERT_EQ(m_context.nubrixGetDeviceList(&list, &count), 0);
    EXPECT_EQ(count, 1U);
}

}  // namespace
}  // namespace nubrix
