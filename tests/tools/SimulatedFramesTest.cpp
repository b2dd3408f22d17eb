// The frames of a simulated network camera, received by another client and compared with the room.
#include <arv.h>
#include <gmock/gmock.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "ToolProcess.h"
#include "nubrix/types.h"
#include "virtual/Scene.h"
#include "virtual/SceneSource.h"

namespace nubrix {
namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr std::uint32_t kFewFrames = 300;  // one arrives much earlier
constexpr gulong kPacketBytes = 8192;

struct Unref {
    void operator()(void *object) const { g_object_unref(object); }
};
template <class T>
using ObjectPtr = std::unique_ptr<T, Unref>;

using Pixels = std::vector<std::uint8_t>;

/// A client of Aravis.
class Client {
public:
    Client() : m_camera(arv_camera_new("127.0.0.1", nullptr)) {}

    /// The first frame that is complete.
    std::optional<Pixels> receive(const char *format)
    {
        arv_camera_set_pixel_format_from_string(m_camera.get(), format, nullptr);
        // Packet sockets need privileges, and emulators do not have them.
        arv_camera_gv_set_stream_options(m_camera.get(),
                                         ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED);
        arv_camera_gv_set_packet_size(m_camera.get(), kPacketBytes, nullptr);
        const ObjectPtr<ArvStream> stream(
            arv_camera_create_stream(m_camera.get(), nullptr, nullptr, nullptr));
        const guint payload = arv_camera_get_payload(m_camera.get(), nullptr);
        for (int i = 0; i < 10; ++i)
            arv_stream_push_buffer(stream.get(), arv_buffer_new_allocate(payload));
        arv_camera_start_acquisition(m_camera.get(), nullptr);
        std::optional<Pixels> image;
        for (std::uint32_t i = 0; i < kFewFrames && !image; ++i)
            image = next(*stream);
        arv_camera_stop_acquisition(m_camera.get(), nullptr);
        return image;
    }

    bool isConnected() const { return m_camera != nullptr; }

private:
    static std::optional<Pixels> next(ArvStream &stream)
    {
        constexpr guint64 kSecond = 1000000;
        ArvBuffer *buffer = arv_stream_timeout_pop_buffer(&stream, kSecond);
        if (buffer == nullptr)
            return std::nullopt;
        std::optional<Pixels> image;
        if (arv_buffer_get_status(buffer) == ARV_BUFFER_STATUS_SUCCESS) {
            std::size_t size = 0;
            const auto *data =
                static_cast<const std::uint8_t *>(arv_buffer_get_data(buffer, &size));
            image.emplace(data, data + size);
        }
        arv_stream_push_buffer(&stream, buffer);
        return image;
    }

    ObjectPtr<ArvCamera> m_camera;
};

/// Index of the room's frame that has exactly these pixels.
std::optional<std::uint32_t> frameOf(const Pixels &image, unsigned int streamType)
{
    const virtual_camera::SceneRenderer renderer(streamType, kWidth, kHeight);
    Pixels rendered(renderer.size());
    for (std::uint32_t frame = 0; frame < kFewFrames; ++frame) {
        renderer.render(frame, rendered.data());
        if (rendered == image)
            return frame;
    }
    return std::nullopt;
}

class SimulatedFramesTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (const char *reason = std::getenv("NUBRIX_NO_NETWORK"))
            GTEST_SKIP() << "no network of one's own: " << reason;
        m_camera.emplace(programCommand("nubrix-simulate",
                                        {"--depth", "--color", "--ir", "--mode", "320x240@30"}));
        ASSERT_TRUE(m_camera->waitForOutput("Ctrl-C ends it\n"));
        m_client.emplace();
        ASSERT_TRUE(m_client->isConnected());
    }

    std::optional<Pixels> receive(const char *format) { return m_client->receive(format); }

private:
    std::optional<ToolProcess> m_camera;
    std::optional<Client> m_client;
};

TEST_F(SimulatedFramesTest, ColourAndInfraredAreThoseOfTheRoom)
{
    const auto color = receive("RGB8");
    ASSERT_TRUE(color);
    EXPECT_TRUE(frameOf(*color, NUBRIX_STREAM_COLOR));
    const auto infrared = receive("Mono8");
    ASSERT_TRUE(infrared);
    EXPECT_TRUE(frameOf(*infrared, NUBRIX_STREAM_IR));
    EXPECT_FALSE(frameOf(*infrared, NUBRIX_STREAM_LIGHT_IR));
}

TEST_F(SimulatedFramesTest, DepthTimesItsScaleIsTheTrueDepthAtEveryPixel)
{
    const auto image = receive("Coord3D_C16");
    ASSERT_TRUE(image);
    const auto frame = frameOf(*image, NUBRIX_STREAM_DEPTH);
    ASSERT_TRUE(frame);
    int wrong = 0;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const std::size_t at = 2 * static_cast<std::size_t>(y * kWidth + x);
            const int value = (*image)[at] | (*image)[at + 1] << 8;  // little-endian
            const double truth = virtual_camera::sceneDepthMm(kWidth, kHeight, *frame, x, y);
            wrong += std::abs(value * 0.0625 - truth) > 0.03126 ? 1 : 0;
        }
    }
    EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace nubrix
