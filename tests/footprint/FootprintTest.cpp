// The threads and descriptors of a process with streams of the virtual camera.
#include <gmock/gmock.h>

#include <atomic>
#include <vector>

#include "nubrix/nubrix.h"
#include "tests/fakes/HangGuard.h"
#include "tests/footprint/ProcessCount.h"

namespace nubrix {
namespace {

class FootprintTest : public testing::Test {
protected:
    FootprintTest() : m_context(ContextFactory())
    {
        EXPECT_EQ(m_context->initialize(), 0);
        EXPECT_EQ(m_context->openDevice(nullptr, &m_device), 0);
    }
    ~FootprintTest() override { m_context->destroy(); }

    /// Opens a stream and waits for its first frame.
    void open(unsigned int type)
    {
        NubrixStream *stream = nullptr;
        ASSERT_EQ(m_context->openStream(m_device, type, &stream, nullptr, nullptr), 0);
        m_streams.push_back(stream);
        typedefNubrixFrame *frame = nullptr;
        ASSERT_EQ(m_context->readFrame(stream, &frame, 30000), 0);
        EXPECT_EQ(m_context->releaseFrame(frame), 0);
    }
    /// The same with a callback.
    void openWithCallback(unsigned int type)
    {
        m_frames = 0;
        NubrixStream *stream = nullptr;
        ASSERT_EQ(m_context->openStream(m_device, type, &stream, &FootprintTest::take, this), 0);
        m_streams.push_back(stream);
        ASSERT_TRUE(eventually([this] { return m_frames > 0; }));
    }
    void closeLast()
    {
        EXPECT_EQ(m_context->closeStream(m_streams.back()), 0);
        m_streams.pop_back();
    }
    /// A thread that was joined may be listed a moment longer.
    static bool becomes(long threads, long descriptors)
    {
        const bool is = eventually(
            [&] { return threadCount() == threads && descriptorCount() == descriptors; });
        EXPECT_EQ(threadCount(), threads);
        EXPECT_EQ(descriptorCount(), descriptors);
        return is;
    }

    NubrixBaseContext *m_context;
    NubrixDevice *m_device = nullptr;
    std::vector<NubrixStream *> m_streams;

private:
    static void take(NubrixStream *, typedefNubrixFrame *frame, void *self)
    {
        static_cast<FootprintTest *>(self)->m_context->releaseFrame(frame);
        ++static_cast<FootprintTest *>(self)->m_frames;
    }

    std::atomic<int> m_frames{0};
};

constexpr unsigned int kTypes[] = {NUBRIX_STREAM_COLOR, NUBRIX_STREAM_DEPTH, NUBRIX_STREAM_IR};

TEST_F(FootprintTest, AStreamHasOneThreadOfTheLibraryOneOfTheDriverAndNoDescriptor)
{
    const long threads = threadCount();
    const long descriptors = descriptorCount();
    for (const unsigned int type : kTypes) {
        open(type);
        ASSERT_TRUE(becomes(threads + 2 * static_cast<long>(m_streams.size()), descriptors));
    }
    while (!m_streams.empty()) {
        closeLast();
        ASSERT_TRUE(becomes(threads + 2 * static_cast<long>(m_streams.size()), descriptors));
    }
}

TEST_F(FootprintTest, AStreamWithACallbackHasOneMoreThread)
{
    const long threads = threadCount();
    const long descriptors = descriptorCount();
    for (const unsigned int type : kTypes) {
        openWithCallback(type);
        ASSERT_TRUE(becomes(threads + 3 * static_cast<long>(m_streams.size()), descriptors));
    }
    while (!m_streams.empty())
        closeLast();
    EXPECT_TRUE(becomes(threads, descriptors));
}

TEST_F(FootprintTest, AnInitializedLibraryHasTheThreadsOfItsDriversAlone)
{
    const long threads = threadCount();
    const long descriptors = descriptorCount();
    EXPECT_EQ(m_context->destroy(), 0);
    EXPECT_TRUE(becomes(threads - 1, descriptors)) << "the virtual camera's hot-plug thread";
    EXPECT_EQ(m_context->initialize(), 0);
    EXPECT_TRUE(becomes(threads, descriptors));
}

}  // namespace
}  // namespace nubrix
