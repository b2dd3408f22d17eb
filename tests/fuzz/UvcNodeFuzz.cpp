// A video node that answers whatever the input holds: modes keep their limits, and no answer makes
// the driver read or write beyond its buffers.
#include <linux/videodev2.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "tests/drivers/FakePool.h"
#include "tests/fuzz/FuzzTarget.h"
#include "uvc/CameraModes.h"
#include "uvc/Capture.h"

namespace nubrix::uvc {
namespace {

constexpr std::uint32_t kCodes[] = {V4L2_PIX_FMT_Z16,   V4L2_PIX_FMT_RGB24, V4L2_PIX_FMT_YUYV,
                                    V4L2_PIX_FMT_UYVY,  V4L2_PIX_FMT_NV21,  V4L2_PIX_FMT_NV12,
                                    V4L2_PIX_FMT_MJPEG, V4L2_PIX_FMT_JPEG,  V4L2_PIX_FMT_GREY,
                                    V4L2_PIX_FMT_Y16,   V4L2_PIX_FMT_Y10};
constexpr std::uint64_t kMaxPixels = 1U << 14U;  // of modes that are streamed
constexpr std::size_t kLongestMapping = 1U << 16U;
constexpr int kFrames = 4;

/// The input, taken from the front.
class Input {
public:
    Input(const std::uint8_t *data, std::size_t bytes) : m_next(data), m_left(bytes) {}

    bool isEmpty() const { return m_left == 0; }
    std::uint8_t byte() { return m_left == 0 ? std::uint8_t{0} : (--m_left, *m_next++); }
    std::uint32_t number()
    {
        std::uint32_t value = 0;
        for (unsigned int i = 0; i < 4; ++i)
            value |= std::uint32_t{byte()} << 8U * i;
        return value;
    }

private:
    const std::uint8_t *m_next;
    std::size_t m_left;
};

template <class T>
T &as(void *argument)
{
    return *static_cast<T *>(argument);
}

/// Each answer begins with a byte that is 0, or what fails; an input at its end fails always.
class InputNode final : public NodeIo {
public:
    explicit InputNode(Input &input) : m_input(input) {}
    ~InputNode() override { require(m_mapped.empty(), "what is mapped is unmapped"); }

    int control(unsigned long request, void *argument) override
    {
        if (m_input.isEmpty())
            return EINVAL;
        if (const int error = m_input.byte())
            return error;
        answer(request, argument);
        return 0;
    }
    void *map(std::size_t length, std::uint32_t /*offset*/) override
    {
        if (length == 0 || length > kLongestMapping)
            return nullptr;
        auto memory = std::make_unique<std::uint8_t[]>(length);
        for (std::size_t i = 0; i < std::min<std::size_t>(length, 64); ++i)
            memory[i] = m_input.byte();
        void *start = memory.get();
        m_mapped[start] = {std::move(memory), length};
        return start;
    }
    void unmap(void *memory, std::size_t length) override
    {
        const auto found = m_mapped.find(memory);
        require(found != m_mapped.end() && found->second.second == length,
                "what is unmapped was mapped so");
        m_mapped.erase(found);
    }
    int descriptor() const override { return -1; }

private:
    void answer(unsigned long request, void *argument)
    {
        switch (request) {
            case VIDIOC_QUERYCAP:
                as<v4l2_capability>(argument).capabilities = m_input.number();
                as<v4l2_capability>(argument).device_caps = m_input.number();
                break;
            case VIDIOC_ENUM_FMT: {
                const std::uint8_t pick = m_input.byte();
                as<v4l2_fmtdesc>(argument).pixelformat =
                    pick < std::size(kCodes) ? kCodes[pick] : m_input.number();
                break;
            }
            case VIDIOC_ENUM_FRAMESIZES:
                as<v4l2_frmsizeenum>(argument).type = m_input.byte();
                fill(as<v4l2_frmsizeenum>(argument).type == V4L2_FRMSIZE_TYPE_DISCRETE ? 2 : 6,
                     &as<v4l2_frmsizeenum>(argument).discrete);
                break;
            case VIDIOC_ENUM_FRAMEINTERVALS:
                as<v4l2_frmivalenum>(argument).type = m_input.byte();
                fill(as<v4l2_frmivalenum>(argument).type == V4L2_FRMIVAL_TYPE_DISCRETE ? 2 : 6,
                     &as<v4l2_frmivalenum>(argument).discrete);
                break;
            case VIDIOC_G_FMT:
            case VIDIOC_TRY_FMT:
            case VIDIOC_S_FMT:
                answerFormat(as<v4l2_format>(argument).fmt.pix);
                break;
            case VIDIOC_G_PARM:
            case VIDIOC_S_PARM:
                fill(2, &as<v4l2_streamparm>(argument).parm.capture.timeperframe);
                break;
            default:
                answerBuffer(request, argument);
        }
    }
    void answerFormat(v4l2_pix_format &format)
    {
        if (m_input.byte() % 2 != 0) {
            format.width = m_input.number();
            format.height = m_input.number();
        }
        format.bytesperline = m_input.number();
        format.sizeimage = m_input.number();
    }
    void answerBuffer(unsigned long request, void *argument)
    {
        if (request == VIDIOC_REQBUFS) {
            as<v4l2_requestbuffers>(argument).count = m_input.byte();
        } else if (request == VIDIOC_QUERYBUF) {
            as<v4l2_buffer>(argument).length = m_input.number();
            as<v4l2_buffer>(argument).m.offset = m_input.number();
        } else if (request == VIDIOC_DQBUF) {
            auto &buffer = as<v4l2_buffer>(argument);
            buffer.index = m_input.byte();
            buffer.bytesused = m_input.number();
            buffer.sequence = m_input.number();
            buffer.flags = m_input.number();
        }
    }
    void fill(std::size_t numbers, void *fields)
    {
        std::array<std::uint32_t, 6> values = {};
        std::generate_n(values.begin(), numbers, [this] { return m_input.number(); });
        std::memcpy(fields, values.data(), numbers * sizeof values[0]);
    }

    Input &m_input;
    std::map<void *, std::pair<std::unique_ptr<std::uint8_t[]>, std::size_t>> m_mapped;
};

void check(const StreamModes &modes)
{
    require(modes.records.size() == modes.sources.size(), "each mode has a source");
    require(modes.records.size() <= 1000, "modes have a limit");
    for (std::size_t i = 0; i < modes.records.size(); ++i) {
        const typedefNubrixFrameMode &mode = modes.records[i];
        const SourceMode &source = modes.sources[i];
        require(mode.width != 0 && mode.height != 0 && mode.frameRate >= 0, "a mode is one");
        require(std::uint64_t{mode.width} * mode.height <= 1U << 26U, "a size has a limit");
        require(modes.find(mode) == i, "a mode is there once");
        require(source.format->streamType == modes.streamType &&
                    source.format->pixelFormat == mode.pixelFormat &&
                    isSizeAllowed(*source.format, mode.width, mode.height),
                "a mode comes from a format that can be it");
        require((source.interval.numerator == 0) == (source.interval.denominator == 0) &&
                    (source.interval.numerator == 0 || rateOf(source.interval) == mode.frameRate),
                "a rate is that of its interval");
    }
    if (!modes.records.empty())
        require(modes.defaultMode() < modes.records.size(), "one of them is the first");
}

void run(Capture &capture, std::size_t frameBytes)
{
    if (capture.begin() != 0)
        return;
    for (int i = 0; i < kFrames; ++i) {
        CapturedFrame captured;
        if (capture.take(captured) != 0)
            return;
        require(!captured.frame || captured.frame->bufferSize() >= frameBytes,
                "a frame has space for its image");
        require(captured.conversion != Conversion::kUnusable || !captured.frame,
                "of nothing there is no frame");
    }
}

void stream(NodeIo &node, const typedefNubrixFrameMode &mode, const SourceMode &source)
{
    v4l2_pix_format format = {};
    v4l2_fract interval = source.interval;
    tryMode(node, mode, source, format);
    if (std::uint64_t{mode.width} * mode.height > kMaxPixels ||
        setMode(node, mode, source, format, interval) != 0 || !isMode(format, mode, source))
        return;
    FrameConverter converter(*source.format, mode.width, mode.height, format.bytesperline);
    const auto bytes = static_cast<unsigned int>(converter.frameBytes());
    FakePool pool(bytes);
    if (converter.passesThrough()) {
        const std::size_t room = std::max<std::size_t>(format.sizeimage, bytes);
        DirectCapture direct(node, pool, bytes, room);
        run(direct, bytes);
    }
    {
        MappedCapture mapped(node, pool, converter);
        run(mapped, bytes);
    }
    require(pool.inUse() == 0, "no frame is kept");
}

}  // namespace
}  // namespace nubrix::uvc

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t sizeBytes)
{
    using namespace nubrix::uvc;
    Input input(data, sizeBytes);
    InputNode node(input);
    readCapabilities(node);
    const CameraModes all = readModes({&node});
    for (const StreamModes &modes : all)
        check(modes);
    for (const StreamModes &modes : all) {
        for (std::size_t i = 0; i < modes.records.size() && !input.isEmpty(); ++i)
            stream(node, modes.records[i], modes.sources[i]);
    }
    return 0;
}
