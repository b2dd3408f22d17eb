// Captures directly into frames of a pool that hands out the same frames again.
#include <gmock/gmock.h>
#include <linux/videodev2.h>

#include <cerrno>
#include <deque>
#include <memory>
#include <vector>

#include "tests/drivers/uvc/FakeNode.h"
#include "uvc/Capture.h"

namespace nubrix::uvc {
namespace {

using testing::Each;

constexpr unsigned int kBytes = 64 * 48;

/// Hands out the frame that was returned first, as the library's pool does.
class CirclingPool final : public FrameAllocatorInterfaceBase {
public:
    explicit CirclingPool(std::size_t frames)
    {
        for (std::size_t i = 0; i < frames; ++i) {
            m_all.push_back(std::make_unique<Frame>(*this));
            m_free.push_back(m_all.back().get());
        }
    }

    NubrixFrameRef *allocOneFrame() override
    {
        if (m_free.empty())
            return nullptr;
        NubrixFrameRef *frame = m_free.front();
        m_free.pop_front();
        frame->incRef();
        return frame;
    }
    unsigned int getFrameBufferSize() const override { return kBytes; }
    void setFrameBufferSize(unsigned int /*size*/) override {}

    std::size_t inUse() const { return m_all.size() - m_free.size(); }

private:
    class Frame final : public NubrixFrameRef {
    public:
        explicit Frame(CirclingPool &pool) : m_pool(pool) { m_frame.data = std::calloc(1, kBytes); }
        int release() override
        {
            if (--m_count == 0)
                m_pool.m_free.push_back(this);
            return m_count;
        }
        unsigned int bufferSize() const override { return kBytes; }

    private:
        CirclingPool &m_pool;
    };

    std::vector<std::unique_ptr<Frame>> m_all;
    std::deque<NubrixFrameRef *> m_free;
};

class DirectCaptureTest : public testing::Test {
protected:
    DirectCaptureTest()
    {
        m_camera.formats = {{V4L2_PIX_FMT_GREY, {{64, 48, {30}}}}};
        v4l2_format format = {};
        format.fmt.pix = {};
        format.fmt.pix.pixelformat = V4L2_PIX_FMT_GREY;
        format.fmt.pix.width = 64;
        format.fmt.pix.height = 48;
        EXPECT_EQ(m_node.control(VIDIOC_S_FMT, &format), 0);
    }
    ~DirectCaptureTest() override
    {
        m_capture.reset();
        EXPECT_EQ(m_pool.inUse(), 0U);
    }

    void begin()
    {
        m_capture = std::make_unique<DirectCapture>(m_node, m_pool, kBytes, kBytes);
        ASSERT_EQ(m_capture->begin(), 0);
    }
    /// Captures a frame, compares its pixels and returns it.
    FramePtr next(std::uint32_t flags = 0)
    {
        const auto value = static_cast<std::uint8_t>(++m_value);
        m_camera.capture({std::vector<std::uint8_t>(kBytes, value), flags});
        CapturedFrame captured;
        EXPECT_EQ(m_capture->take(captured), 0);
        EXPECT_EQ(captured.damaged, (flags & V4L2_BUF_FLAG_ERROR) != 0);
        if (captured.frame) {
            const auto *data = static_cast<std::uint8_t *>(captured.frame->frame().data);
            EXPECT_THAT(std::vector<std::uint8_t>(data, data + kBytes), Each(value));
        }
        return std::move(captured.frame);
    }
    /// Captures frames that are released at once; returns how many of them were pinned.
    unsigned int pinsOf(int frames)
    {
        const unsigned int before = m_camera.pins();
        for (int i = 0; i < frames; ++i)
            EXPECT_NE(next(), nullptr);
        return m_camera.pins() - before;
    }

    FakeCamera m_camera;
    FakeNode m_node{m_camera};
    CirclingPool m_pool{8};
    std::unique_ptr<DirectCapture> m_capture;

private:
    unsigned int m_value = 0;
};

TEST_F(DirectCaptureTest, EachFrameIsPinnedOnce)
{
    begin();
    EXPECT_EQ(m_camera.buffers(), 10U);
    EXPECT_EQ(m_camera.queued(), 3U);
    pinsOf(8);
    EXPECT_EQ(m_camera.pins(), 8U);
    EXPECT_EQ(pinsOf(100), 0U);
    EXPECT_EQ(m_camera.queued(), 3U);
}

TEST_F(DirectCaptureTest, AFrameThatWasHeldForLongReturnsToItsIndex)
{
    begin();
    pinsOf(8);
    std::vector<FramePtr> held;
    for (int i = 0; i < 4; ++i)
        held.push_back(next());
    EXPECT_EQ(pinsOf(20), 0U);
    held.clear();
    EXPECT_EQ(pinsOf(20), 0U);
}

TEST_F(DirectCaptureTest, AFrameThatIsNotDeliveredKeepsItsIndex)
{
    begin();
    pinsOf(8);
    m_camera.capture({});  // empty
    CapturedFrame captured;
    EXPECT_EQ(m_capture->take(captured), 0);
    EXPECT_EQ(captured.conversion, Conversion::kUnusable);
    std::vector<FramePtr> held;
    while (m_pool.inUse() < 8)
        held.push_back(next());
    EXPECT_EQ(next(), nullptr);  // no free frame
    EXPECT_EQ(next(), nullptr);
    EXPECT_EQ(m_camera.queued(), 3U);
    held.clear();
    EXPECT_EQ(m_camera.pins(), 8U);
    EXPECT_EQ(pinsOf(20), 0U);
}

TEST_F(DirectCaptureTest, ADamagedFrameKeepsItsIndex)
{
    begin();
    pinsOf(8);
    for (int i = 0; i < 8; ++i)
        EXPECT_NE(next(V4L2_BUF_FLAG_ERROR), nullptr);
    EXPECT_EQ(m_camera.pins(), 8U);
}

struct Grant {
    unsigned int buffers;
    std::size_t queued;
    unsigned int pinsOf40;
};

class DirectCaptureGrantTest : public DirectCaptureTest,
                               public testing::WithParamInterface<Grant> {};

// Of 8 frames in turn; if the index that is idle for the longest were replaced, all would be
// pinned.
TEST_P(DirectCaptureGrantTest, WithFewerIndicesThanFramesAsManyAsPossibleKeepTheirs)
{
    m_camera.mostBuffers = GetParam().buffers;
    begin();
    EXPECT_EQ(m_camera.buffers(), GetParam().buffers);
    EXPECT_EQ(m_camera.queued(), GetParam().queued);
    pinsOf(40);
    EXPECT_EQ(pinsOf(40), GetParam().pinsOf40);
    EXPECT_EQ(m_camera.queued(), GetParam().queued);
}

INSTANTIATE_TEST_SUITE_P(Grants, DirectCaptureGrantTest,
                         testing::Values(Grant{1, 1, 40}, Grant{2, 2, 40}, Grant{3, 3, 40},
                                         Grant{4, 3, 32}, Grant{6, 3, 16}, Grant{7, 3, 8},
                                         Grant{8, 3, 0}));

TEST_F(DirectCaptureTest, ACaptureDoesNotRelyOnTheBuffersOfAnEarlierOne)
{
    for (unsigned int i = 1; i <= 3; ++i) {
        begin();
        EXPECT_EQ(pinsOf(8), 5U);  // after those of the start
        EXPECT_EQ(m_camera.pins(), 8 * i);
        m_capture.reset();
        EXPECT_EQ(m_pool.inUse(), 0U);
        EXPECT_FALSE(m_camera.isStreaming());
        EXPECT_EQ(m_camera.buffers(), 0U);
    }
}

TEST_F(DirectCaptureTest, ANodeThatDoesNotReplaceBuffersIsCapturedFrom)
{
    std::uint32_t count = 3;
    ASSERT_EQ(requestBuffers(m_node, V4L2_MEMORY_USERPTR, count), 0);
    count = 10;
    ASSERT_EQ(requestBuffers(m_node, V4L2_MEMORY_USERPTR, count), EBUSY) << "it is such a node";
    std::uint32_t none = 0;
    ASSERT_EQ(requestBuffers(m_node, V4L2_MEMORY_USERPTR, none), 0);
    begin();
    EXPECT_EQ(m_camera.buffers(), 10U);
    EXPECT_NE(next(), nullptr);
}

TEST_F(DirectCaptureTest, TheNodeRefusesABufferThatItHasAlready)
{
    std::uint32_t count = 1;
    ASSERT_EQ(requestBuffers(m_node, V4L2_MEMORY_USERPTR, count), 0);
    std::vector<std::uint8_t> memory(kBytes);
    v4l2_buffer buffer = captureBuffer(V4L2_MEMORY_USERPTR, 0);
    buffer.m.userptr = reinterpret_cast<unsigned long>(memory.data());
    buffer.length = kBytes;
    EXPECT_EQ(m_node.control(VIDIOC_QBUF, &buffer), 0);
    EXPECT_EQ(m_node.control(VIDIOC_QBUF, &buffer), EINVAL) << "it waits for a frame";
    ASSERT_EQ(switchCapture(m_node, VIDIOC_STREAMON), 0);
    m_camera.captureAll(1);
    EXPECT_EQ(m_node.control(VIDIOC_QBUF, &buffer), EINVAL) << "it has a frame";
    EXPECT_EQ(m_node.control(VIDIOC_DQBUF, &buffer), 0);
    buffer.length = kBytes;
    EXPECT_EQ(m_node.control(VIDIOC_QBUF, &buffer), 0);
}

TEST_F(DirectCaptureTest, ANodeThatNeedsMoreBuffersQueuedIsRefused)
{
    m_camera.leastBuffers = 4;
    m_capture = std::make_unique<DirectCapture>(m_node, m_pool, kBytes, kBytes);
    EXPECT_EQ(m_capture->begin(), ENOBUFS);
    EXPECT_EQ(m_pool.inUse(), 0U);
}

TEST_F(DirectCaptureTest, UnpluggingWithFramesQueuedReleasesThemWithTheCapture)
{
    begin();
    const FramePtr held = next();
    m_camera.unplug();
    CapturedFrame captured;
    EXPECT_EQ(m_capture->take(captured), ENODEV);
    EXPECT_EQ(m_pool.inUse(), 4U);
    m_capture.reset();
    EXPECT_EQ(m_pool.inUse(), 1U);
}

}  // namespace
}  // namespace nubrix::uvc
