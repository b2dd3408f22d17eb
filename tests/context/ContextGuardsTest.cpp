// Every operation against every state in which it must refuse, so that no guard is forgotten.
#include <set>

#include "tests/context/ContextFixture.h"
#include "tests/context/OperationTable.h"

namespace nubrix {
namespace {

const Handles kUnknown = {unknownHandle<NubrixDevice>(), unknownHandle<NubrixStream>(),
                          unknownHandle<NubrixRecord>()};

std::vector<Operation> operationsWhere(bool (*wanted)(const Operation &))
{
    std::vector<Operation> found;
    for (const Operation &operation : operationTable()) {
        if (wanted(operation))
            found.push_back(operation);
    }
    return found;
}

std::string nameOf(const testing::TestParamInfo<Operation> &info)
{
    return info.param.name;
}

class Guards : public LibraryFixture, public testing::WithParamInterface<Operation> {
protected:
    Guards() : m_usb(m_library.installDriver(kUvcDriver))
    {
        m_library.installDriver(kNetDriver);
        m_usb.setDevices({cameraRecord("usb:1")});
    }
    Outcome callWith(const Handles &handles)
    {
        return outcome([&] { return GetParam().call(context(), handles); });
    }

    FakeDriver &m_usb;
};

TEST(OperationTableTest, HoldsTheFortySevenOperationsOnce)
{
    std::set<std::string> names;
    for (const Operation &operation : operationTable())
        names.insert(operation.name);
    EXPECT_EQ(names.size(), 47U);
    EXPECT_EQ(operationTable().size(), 47U);
}

using EveryOperation = Guards;

TEST_P(EveryOperation, BeforeInitialize)
{
    context();
    EXPECT_EQ(callWith(kUnknown), GetParam().uninitialized);
}

TEST_P(EveryOperation, AfterDestroy)
{
    context().initialize();
    ASSERT_EQ(context().destroy(), 0);
    EXPECT_EQ(callWith(kUnknown), GetParam().uninitialized);
}

INSTANTIATE_TEST_SUITE_P(Context, EveryOperation, testing::ValuesIn(operationTable()), nameOf);

using OnAnUnknownDevice = Guards;

TEST_P(OnAnUnknownDevice, IsRefused)
{
    context().initialize();
    NubrixDevice *device = nullptr;
    ASSERT_EQ(context().openDevice("usb:1", &device), 0);
    EXPECT_EQ(callWith(kUnknown), GetParam().unknownDevice);
    EXPECT_EQ(callWith({}), GetParam().unknownDevice);
    ASSERT_EQ(context().closeDevice(device), 0);
    EXPECT_EQ(callWith({device, nullptr, nullptr}), GetParam().unknownDevice);
}

INSTANTIATE_TEST_SUITE_P(Context, OnAnUnknownDevice,
                         testing::ValuesIn(operationsWhere([](const Operation &operation) {
                             return operation.unknownDevice.has_value();
                         })),
                         nameOf);

using OnAnUnknownStream = Guards;

TEST_P(OnAnUnknownStream, IsRefused)
{
    context().initialize();
    EXPECT_EQ(callWith(kUnknown), GetParam().unknownStream);
    NubrixDevice *device = nullptr;
    NubrixStream *stream = nullptr;
    ASSERT_EQ(context().openDevice("usb:1", &device), 0);
    ASSERT_EQ(context().openStream(device, NUBRIX_STREAM_DEPTH, &stream, nullptr, nullptr), 0);
    EXPECT_EQ(callWith(kUnknown), GetParam().unknownStream);
    EXPECT_EQ(callWith({device, nullptr, nullptr}), GetParam().unknownStream);
    ASSERT_EQ(context().closeStream(stream), 0);
    EXPECT_EQ(callWith({device, stream, nullptr}), GetParam().unknownStream);
}

INSTANTIATE_TEST_SUITE_P(Context, OnAnUnknownStream,
                         testing::ValuesIn(operationsWhere([](const Operation &operation) {
                             return operation.unknownStream.has_value();
                         })),
                         nameOf);

using OnAnUnknownRecorder = Guards;

TEST_P(OnAnUnknownRecorder, IsRefused)
{
    context().initialize();
    EXPECT_EQ(callWith(kUnknown), GetParam().unknownRecorder);
}

INSTANTIATE_TEST_SUITE_P(Context, OnAnUnknownRecorder,
                         testing::ValuesIn(operationsWhere([](const Operation &operation) {
                             return operation.unknownRecorder.has_value();
                         })),
                         nameOf);

// What waits for the lock that destroy holds must not wait on the thread that destroy waits for.
class OnACallbackThreadWhileDestroying : public Guards {
protected:
    static void onFrame(NubrixStream *, typedefNubrixFrame *frame, void *user)
    {
        static_cast<OnACallbackThreadWhileDestroying *>(user)->callBack(frame);
    }
    void callBack(typedefNubrixFrame *frame)
    {
        m_inCallback.add();
        typedefNubrixeviceAttribute *list = nullptr;
        unsigned int count = 0;
        EXPECT_TRUE(
            eventually([&] { return m_context->nubrixGetDeviceList(&list, &count) == -2; }));
        m_outcome = outcome([&] { return GetParam().call(*m_context, kUnknown); });
        EXPECT_EQ(m_context->releaseFrame(frame), 0);
    }

    NubrixBaseContext *m_context = &context();
    Counter m_inCallback;
    Outcome m_outcome;
};

TEST_P(OnACallbackThreadWhileDestroying, IsRefused)
{
    m_context->initialize();
    NubrixDevice *device = nullptr;
    NubrixStream *stream = nullptr;
    ASSERT_EQ(m_context->openDevice("usb:1", &device), 0);
    ASSERT_EQ(m_context->openStream(device, NUBRIX_STREAM_DEPTH, &stream, &onFrame, this), 0);
    ASSERT_TRUE(m_usb.deliver(NUBRIX_STREAM_DEPTH, {}));
    ASSERT_TRUE(m_inCallback.reaches(1));
    EXPECT_EQ(m_context->destroy(), 0);
    EXPECT_EQ(m_outcome, GetParam().uninitialized);
}

INSTANTIATE_TEST_SUITE_P(Context, OnACallbackThreadWhileDestroying,
                         testing::ValuesIn(operationsWhere([](const Operation &operation) {
                             return operation.takesApiLock;
                         })),
                         nameOf);

}  // namespace
}  // namespace nubrix
