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
