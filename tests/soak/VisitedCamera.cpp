#include <optional>
#include <vector>

#include "tests/soak/Workers.h"

namespace nubrix::soak {

namespace {

using client::Camera;
using client::Error;
using client::Frame;
using client::Stream;
using client::StreamType;
using std::chrono::milliseconds;

constexpr std::size_t kMostFrames = 400;
constexpr std::size_t kHeldFrames = 4;

/// One camera and what an application does with it at one time.
class Visit {
public:
    Visit(World &world, Random &random, const std::string &uri)
        : m_world(world), m_random(random), m_camera(world.session.open(uri))
    {
    }

    void run()
    {
        const std::size_t what = m_random.below(10);
        if (what == 0)
            takePhoto();
        else if (what < 3)
            makeCloud();
        else if (what < 6)
            readDirectly(anyType());
        else
            readBoth();
    }

private:
    StreamType anyType() { return m_random.oneOf({StreamType::kColor, StreamType::kDepth}); }

    void takePhoto()
    {
        ++m_world.counters.opened;
        m_world.receive(m_camera.photo(m_world.folder + "/" + m_camera.info().serialNumber + ".bmp",
                                       kFrameTimeout));
        ++m_world.counters.photos;
    }
    void makeCloud()
    {
        Stream stream = m_camera.start(StreamType::kDepth);
        const Booking booking(m_world, stream.handle());
        const Frame frame = stream.nextComplete(kFrameTimeout);
        m_world.receive(frame);
        const client::Intrinsics lens = m_camera.intrinsics(StreamType::kDepth);
        const auto image = frame.image<std::uint16_t>();
        const auto width = static_cast<unsigned int>(frame.width());
        const auto height = static_cast<unsigned int>(frame.height());
        std::vector<typedefNubrixPoint3D> points(width * static_cast<std::size_t>(height));
        m_world.session.context().convertDepthToPointCloud(image.data, width, height, 1, lens.fx,
                                                           lens.fy, lens.cx, lens.cy, points.data(),
                                                           1, false);
        if (points.back().z * 16 != image(frame.width() - 1, frame.height() - 1))
            m_world.defect("a point of a cloud has another depth than its pixel");
        ++m_world.counters.clouds;
    }
    /// Two streams of one camera; some frames are held, and outlive the streams.
    void readBoth()
    {
        std::vector<Frame> held(1 + m_random.below(kHeldFrames));
        Stream color = m_camera.start(StreamType::kColor);
        const Booking colorBooking(m_world, color.handle());
        Stream depth = m_camera.start(StreamType::kDepth);
        const Booking depthBooking(m_world, depth.handle());
        for (std::size_t left = m_random.below(kMostFrames); left != 0 && !isDone(); --left) {
            Stream &ready = client::waitAny({&color, &depth}, kFrameTimeout);
            const Frame frame = ready.tryNext();
            if (!frame)
                continue;
            m_world.receive(frame);
            held[left % held.size()] = m_random.chance(10) ? frame.clone() : Frame();
        }
    }
    /// By the functions of the context.
    void readDirectly(StreamType type);

    bool isDone() const { return m_world.rest.isDue() || m_world.rest.isOver(); }

    World &m_world;
    Random &m_random;
    Camera m_camera;
};

/// A stream of the context without a callback.
class DirectStream {
public:
    DirectStream(Camera &camera, StreamType type) : m_context(camera.context())
    {
        const int status = m_context.openStream(camera.handle(), static_cast<unsigned int>(type),
                                                &m_handle, nullptr, nullptr);
        if (status != 0)
            fail("openStream", status);
    }
    ~DirectStream() { m_context.closeStream(m_handle); }
    DirectStream(const DirectStream &) = delete;
    DirectStream &operator=(const DirectStream &) = delete;

    typedefNubrixFrame *read()
    {
        const auto deadline = std::chrono::steady_clock::now() + kFrameTimeout;
        constexpr int kTimeoutMs = milliseconds(kFrameTimeout).count();
        typedefNubrixFrame *frame = nullptr;
        int status = -11;
        // Early, this status means that the frame which ended the wait has been read before.
        while (status == -11 && std::chrono::steady_clock::now() < deadline)
            status = m_context.readFrame(m_handle, &frame, kTimeoutMs);
        if (status != 0)
            fail("readFrame", status);
        return frame;
    }
    NubrixStream *handle() const { return m_handle; }
    void release(typedefNubrixFrame *frame) const { m_context.releaseFrame(frame); }

private:
    [[noreturn]] static void fail(const char *operation, int status)
    {
        const std::string text = operation + (" returned " + std::to_string(status));
        throw Error(operation, status, 0, text);
    }

    NubrixBaseContext &m_context;
    NubrixStream *m_handle = nullptr;
};

void Visit::readDirectly(StreamType type)
{
    DirectStream stream(m_camera, type);
    const Booking booking(m_world, stream.handle());
    for (std::size_t left = m_random.below(kMostFrames); left != 0 && !isDone(); --left) {
        typedefNubrixFrame *const frame = stream.read();
        m_world.receive(*frame);
        stream.release(frame);
    }
}

}  // namespace

void visitCamera(World &world, const std::string &uri, std::uint64_t seed)
{
    Random random(seed);
    while (!world.rest.isOver()) {
        world.rest.rest();
        const unsigned int before = world.plugChanges(uri);
        if (!world.isAttached(uri)) {
            world.awaitPlugChange(uri, before, milliseconds(100));
            continue;
        }
        try {
            Visit(world, random, uri).run();
        } catch (const std::exception &error) {
            if (world.isCausedByPlug(uri, before, error))
                ++world.counters.unplugged;
            else
                world.defect(uri + ": " + error.what());
        }
    }
}

}  // namespace nubrix::soak
