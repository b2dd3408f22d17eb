#include "SimulatedCamera.h"

#include <arv.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "CameraDescription.h"

namespace nubrix::simulator {

namespace {

/// A file in memory, because Aravis reads a description from a path only.
class MemoryFile {
public:
    explicit MemoryFile(const std::string &content) : m_descriptor(memfd_create("camera", 0))
    {
        if (m_descriptor < 0 || write(m_descriptor, content.data(), content.size()) !=
                                    static_cast<ssize_t>(content.size()))
            throw std::runtime_error("no memory for the description of the camera");
    }
    ~MemoryFile() { close(m_descriptor); }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(m_descriptor); }

private:
    const int m_descriptor;
};

void writeText(ArvFakeCamera *camera, guint32 address, std::size_t sizeBytes,
               const std::string &text)
{
    std::string field(sizeBytes, '\0');
    std::copy_n(text.begin(), std::min(text.size(), sizeBytes - 1), field.begin());
    arv_fake_camera_write_memory(camera, address, static_cast<guint32>(sizeBytes), field.data());
}

void writeReal(ArvFakeCamera *camera, guint32 address, float value)
{
    guint32 bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    arv_fake_camera_write_register(camera, address, bits);
}

void configure(ArvFakeCamera *camera, const SimulatedCameraSettings &settings)
{
    writeText(camera, 0x48, 32, settings.vendor);
    writeText(camera, 0x68, 32, settings.model);
    writeText(camera, 0x88, 32, settings.version);
    const std::pair<guint32, guint32> integers[] = {
        {ARV_FAKE_CAMERA_REGISTER_SENSOR_WIDTH, settings.width},
        {ARV_FAKE_CAMERA_REGISTER_SENSOR_HEIGHT, settings.height},
        {ARV_FAKE_CAMERA_REGISTER_WIDTH, settings.width},
        {ARV_FAKE_CAMERA_REGISTER_HEIGHT, settings.height},
        {ARV_FAKE_CAMERA_REGISTER_PIXEL_FORMAT, settings.formats.front()},
        {ARV_FAKE_CAMERA_REGISTER_ACQUISITION_FRAME_PERIOD_US,
         static_cast<guint32>(1e6 / settings.frameRate)}};
    for (const auto &[address, value] : integers)
        arv_fake_camera_write_register(camera, address, value);
    writeReal(camera, kRegisterFocalLength, settings.focalLength);
    writeReal(camera, kRegisterPrincipalU, settings.principalU);
    writeReal(camera, kRegisterPrincipalV, settings.principalV);
    writeReal(camera, kRegisterBaseline, settings.baseline);
    arv_fake_camera_write_register(camera, kRegisterCoordinate, settings.coordinate);
    constexpr float kOfOthers = 1.0F;
    for (const auto &[address, depth] :
         {std::pair<guint32, float>(kRegisterCoordinateScale, settings.coordinateScale),
          {kRegisterCoordinateOffset, settings.coordinateOffset},
          {kRegisterInvalidValue, settings.invalidValue}}) {
        writeReal(camera, address, kOfOthers);
        writeReal(camera, address + 4, kOfOthers);
        writeReal(camera, address + 8, depth);
    }
}

}  // namespace

struct SimulatedCamera::Server {
    Fill fill;
    std::atomic<std::uint32_t> frames{0};
    ArvGvFakeCamera *camera = nullptr;

    static void fillBuffer(ArvBuffer *buffer, void *server, guint32, guint32, ArvPixelFormat format)
    {
        auto *self = static_cast<Server *>(server);
        // The size is that of received data, 0 on this side; the capacity is that of the image.
        auto *data = const_cast<void *>(arv_buffer_get_data(buffer, nullptr));
        gint width = 0;
        gint height = 0;
        arv_buffer_get_image_region(buffer, nullptr, nullptr, &width, &height);
        self->fill(format, self->frames++, data, static_cast<unsigned int>(width),
                   static_cast<unsigned int>(height));
    }
};

SimulatedCamera::SimulatedCamera(const SimulatedCameraSettings &settings, Fill fill)
    : m_server(std::make_unique<Server>())
{
    if (settings.formats.empty() || settings.frameRate <= 0)
        throw std::runtime_error("a simulated camera needs a pixel format and a frame rate");
    m_server->fill = std::move(fill);
    const MemoryFile description(settings.description.empty() ? describeCamera(settings)
                                                              : settings.description);
    ArvGvFakeCamera *camera = arv_gv_fake_camera_new_full(
        settings.address.c_str(), settings.serial.c_str(), description.path().c_str());
    if (camera == nullptr || !arv_gv_fake_camera_is_running(camera)) {
        g_clear_object(&camera);
        throw std::runtime_error("no camera on " + settings.address +
                                 ": it is not an address of this machine, or another camera has "
                                 "its port 3956");
    }
    m_server->camera = camera;
    ArvFakeCamera *device = arv_gv_fake_camera_get_fake_camera(camera);
    configure(device, settings);
    arv_fake_camera_set_fill_pattern(device, &Server::fillBuffer, m_server.get());
    g_object_set(camera, "gvsp-lost-ratio", settings.lostPackets, nullptr);
}

SimulatedCamera::~SimulatedCamera()
{
    g_object_unref(m_server->camera);
}

std::uint32_t SimulatedCamera::frames() const
{
    return m_server->frames;
}

bool SimulatedCamera::isControlled() const
{
    ArvFakeCamera *device = arv_gv_fake_camera_get_fake_camera(m_server->camera);
    return arv_fake_camera_get_control_channel_privilege(device) != 0;
}

}  // namespace nubrix::simulator
