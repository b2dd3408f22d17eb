// What a driver calls of the library's frames and pools is called by its place in the table.
#include <gtest/gtest.h>

#include <cstdlib>

#include "nubrix/driver.h"
#include "stream/FrameAllocator.h"
#include "tests/abi/RecordedCall.h"

namespace nubrix {
namespace {

class RecordedAllocator final : public FrameAllocatorInterfaceBase {
public:
    NubrixFrameRef *allocOneFrame() override
    {
        recordCall("allocOneFrame");
        return nullptr;
    }
    unsigned int getFrameBufferSize() const override
    {
        return static_cast<unsigned int>(recordCall("getFrameBufferSize"));
    }
    void setFrameBufferSize(unsigned int size) override
    {
        recordCall("setFrameBufferSize " + std::to_string(size));
    }
};

TEST(FrameSlotsTest, AllocatorHasNoDestructorSlot)
{
    RecordedAllocator object;
    callSlot<NubrixFrameRef *>(&object, 0);
    EXPECT_EQ(g_called, "allocOneFrame");
    EXPECT_EQ(called(&object, 1), "getFrameBufferSize");
    callSlot<void, unsigned int>(&object, 2, 640);
    EXPECT_EQ(g_called, "setFrameBufferSize 640");
}

class RecordedFrame final : public NubrixFrameRef {
public:
    ~RecordedFrame() override { recordCall("destructor"); }
    int incRef() override { return recordCall("incRef"); }
    int release() override { return recordCall("release"); }
    unsigned int bufferSize() const override
    {
        return static_cast<unsigned int>(recordCall("bufferSize"));
    }
};

TEST(FrameSlotsTest, FrameCountsBeforeItDestroys)
{
    auto *const object = new RecordedFrame;
    EXPECT_EQ(called(object, 0), "incRef");
    EXPECT_EQ(called(object, 1), "release");
    EXPECT_EQ(called(object, 4), "bufferSize");
    callSlot<void>(object, 3);
    EXPECT_EQ(g_called, "destructor");
    alignas(RecordedFrame) unsigned char memory[sizeof(RecordedFrame)];
    g_called.clear();
    callSlot<void>(new (memory) RecordedFrame, 2);
    EXPECT_EQ(g_called, "destructor");
}

TEST(FrameSlotsTest, TheRecordFollowsTheCount)
{
    RecordedFrame object;
    const auto *const begin = reinterpret_cast<const unsigned char *>(&object);
    const auto *const record = reinterpret_cast<const unsigned char *>(&object.frame());
    EXPECT_EQ(record - begin, sizeof(void *) == 4 ? 8 : 16);
}

// A driver that was built elsewhere works on the library's own objects in just this way.
TEST(FrameSlotsTest, TheLibrarysFramesAreUsedThroughTheTable)
{
    FrameAllocator pool(64, 4, 10);
    EXPECT_EQ(callSlot<unsigned int>(&pool, 1), 64U);
    callSlot<void, unsigned int>(&pool, 2, 128);
    void *const frame = callSlot<NubrixFrameRef *>(&pool, 0);
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(callSlot<unsigned int>(frame, 4), 128U);
    EXPECT_EQ(callSlot<int>(frame, 0), 2);
    EXPECT_EQ(callSlot<int>(frame, 1), 1);
    EXPECT_EQ(callSlot<int>(frame, 1), 0) << "it is back in its pool";
}

}  // namespace
}  // namespace nubrix
