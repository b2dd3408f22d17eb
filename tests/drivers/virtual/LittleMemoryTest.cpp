// What the driver does when it cannot allocate memory. A program of its own, since it replaces the
// allocation functions.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <new>
#include <string>

#include "tests/TemporaryFolder.h"
#include "tests/drivers/virtual/VirtualCameraFixture.h"

namespace {

thread_local std::size_t t_most = SIZE_MAX;

void *allocate(std::size_t size)
{
    return size > t_most ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void *allocateOrThrow(std::size_t size)
{
    if (void *const memory = allocate(size))
        return memory;
    throw std::bad_alloc();
}

}  // namespace

void *operator new(std::size_t size)
{
    return allocateOrThrow(size);
}
void *operator new[](std::size_t size)
{
    return allocateOrThrow(size);
}
void *operator new(std::size_t size, const std::nothrow_t & /*tag*/) noexcept
{
    return allocate(size);
}
void *operator new[](std::size_t size, const std::nothrow_t & /*tag*/) noexcept
{
    return allocate(size);
}
void operator delete(void *memory) noexcept
{
    std::free(memory);
}
void operator delete[](void *memory) noexcept
{
    std::free(memory);
}
void operator delete(void *memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}
void operator delete[](void *memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

namespace nubrix::virtual_camera {
namespace {

/// Limits the size of an allocation on this thread.
class LittleMemory {
public:
    explicit LittleMemory(std::size_t most) { t_most = most; }
    ~LittleMemory() { t_most = SIZE_MAX; }
    LittleMemory(const LittleMemory &) = delete;
    LittleMemory &operator=(const LittleMemory &) = delete;
};

using LittleMemoryTest = VirtualCameraTest;

TEST_F(LittleMemoryTest, AFirmwareImageThatDoesNotFitIsRefused)
{
    useDefault();
    const std::unique_ptr<NubrixBaseUpgrade> upgrader(open()->createUpgradeIntance());
    const TemporaryFolder folder;
    const std::string path = folder.file("camera.fw", "NUBRIXFW");
    std::filesystem::resize_file(path, 60U << 20U);  // a file with a hole
    testing::internal::CaptureStderr();
    int status = 0;
    {
        const LittleMemory little(1U << 20U);
        status = upgrader->deviceStartUpgradeOffLine(nullptr, path.c_str());
    }
    EXPECT_EQ(status, -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "virtual_memory_test: the upgrade of a virtual camera failed: std::bad_alloc\n");
}

TEST_F(LittleMemoryTest, OperationsThatNeedMemoryFail)
{
    useDefault();
    NubrixBaseDevice *const device = open();
    ASSERT_NE(device, nullptr);
    NubrixBaseDevice *other = nullptr;
    NubrixBaseStream *stream = nullptr;
    NubrixBaseUpgrade *upgrader = nullptr;
    int opened = 0;
    int created = 0;
    {
        const LittleMemory little(0);
        opened = m_driver->openDevice(kFirstUri, &other);
        created = device->createStream(NUBRIX_STREAM_DEPTH, &stream);
        upgrader = device->createUpgradeIntance();
    }
    EXPECT_EQ(opened, -2) << "it is open already";
    EXPECT_EQ(created, -1);
    EXPECT_EQ(stream, nullptr);
    EXPECT_EQ(upgrader, nullptr);
    ASSERT_EQ(device->createStream(NUBRIX_STREAM_DEPTH, &stream), 0);
    FakePool pool(stream->getFrameBufferSize());
    FrameSink sink;
    stream->setFrameAllocator(&pool);
    stream->setFrameCallback(&FrameSink::receive, &sink);
    {
        const LittleMemory little(0);
        created = stream->start();
    }
    EXPECT_EQ(created, -1);
    EXPECT_EQ(stream->start(), 0);
    EXPECT_TRUE(sink.await(1));
    EXPECT_EQ(stream->stop(), 0);
    ASSERT_EQ(m_driver->closeDevice(&(other = device)), 0);
    {
        const LittleMemory little(0);
        opened = m_driver->openDevice(kFirstUri, &other);
    }
    EXPECT_EQ(opened, -1);
    EXPECT_EQ(m_driver->openDevice(kFirstUri, &other), 0);
}

TEST_F(LittleMemoryTest, AListThatDoesNotFitIsEmpty)
{
    useDefault();
    typedefNubrixeviceAttribute record = {};
    unsigned int count = 1;
    int listed = 0;
    {
        const LittleMemory little(0);
        listed = m_driver->getDeviceList(&record, &count);
    }
    EXPECT_EQ(listed, -1);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(list().size(), 1U);
}

}  // namespace
}  // namespace nubrix::virtual_camera
