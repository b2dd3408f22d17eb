// A camera of any description and any registers: an input is a GenICam description, a NUL byte and
// the bytes that are read from everywhere in its memory.
#include <arv.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>

#include "net/CameraModes.h"
#include "net/CameraSetup.h"
#include "net/Genicam.h"
#include "net/NetSettings.h"
#include "tests/fuzz/FuzzTarget.h"

// What Aravis keeps of a description that it cannot use is not ours.
extern "C" const char *__lsan_default_suppressions()  // NOLINT(bugprone-reserved-identifier)
{
    return "leak:libaravis\nleak:libglib\nleak:libgobject\n";
}

namespace nubrix::net {
namespace {

/// The camera of one input.
struct Content {
    std::string description;
    std::string memory;
    ArvGc *features = nullptr;
};

Content content;

const char *giveDescription(ArvDevice * /*device*/, size_t *size)
{
    *size = content.description.size();
    return content.description.c_str();
}

ArvGc *giveFeatures(ArvDevice * /*device*/)
{
    return content.features;
}

gboolean readMemory(ArvDevice * /*device*/, guint64 place, guint32 size, void *buffer, GError **)
{
    auto *bytes = static_cast<char *>(buffer);
    for (guint32 i = 0; i < size; ++i)
        bytes[i] =
            content.memory.empty()
                ? '\0'
                : content.memory[static_cast<std::size_t>((place + i) % content.memory.size())];
    return TRUE;
}

gboolean writeMemory(ArvDevice *, guint64, guint32, void *, GError **)
{
    return TRUE;
}

gboolean readRegister(ArvDevice *device, guint64 place, guint32 *value, GError **error)
{
    return readMemory(device, place, sizeof *value, value, error);
}

gboolean writeRegister(ArvDevice *, guint64, guint32, GError **)
{
    return TRUE;
}

void initClass(gpointer type, gpointer /*data*/)
{
    auto *device = ARV_DEVICE_CLASS(type);
    device->get_genicam_xml = &giveDescription;
    device->get_genicam = &giveFeatures;
    device->read_memory = &readMemory;
    device->write_memory = &writeMemory;
    device->read_register = &readRegister;
    device->write_register = &writeRegister;
}

GType deviceType()
{
    static const GType type = [] {
        g_log_set_default_handler([](const char *, GLogLevelFlags, const char *, gpointer) {},
                                  nullptr);
        setenv("NUBRIX_DRIVER_STDERR", "", 1);
        GTypeQuery parent = {};
        g_type_query(ARV_TYPE_DEVICE, &parent);
        return g_type_register_static_simple(ARV_TYPE_DEVICE, "FuzzedDevice", parent.class_size,
                                             &initClass, parent.instance_size, nullptr,
                                             GTypeFlags(0));
    }();
    return type;
}

void check(const StreamModes &modes)
{
    require(modes.records.empty() || modes.format != nullptr, "modes have a format");
    require(modes.records.empty() || modes.first < modes.records.size(), "one mode is the first");
    for (const typedefNubrixFrameMode &mode : modes.records) {
        require(mode.width > 0 && mode.height > 0 && mode.frameRate > 0, "a mode shows something");
        require(std::uint64_t{mode.width} * mode.height <= 1U << 26U, "a mode has a limit");
    }
}

void checkMode(ArvCamera &camera, const Sensor &sensor, const StreamModes &modes)
{
    CameraSetup setup = {};
    setup.name = "camera";
    setup.address = "127.0.0.1";
    setup.sensor = sensor;
    setup.mode = modes.records[modes.first];
    setup.format = *modes.format;
    setup.component = modes.component;
    const RegionOffset offset = offsetOf(sensor, setup.mode, setup.format);
    require(offset.x >= 0 && offset.y >= 0, "a region begins inside");
    setUpCamera(camera, setup);
    const auto timeout = frameTimeoutOf(camera);
    require(timeout.count() == 0 || (timeout.count() >= 3000 && timeout.count() <= 60000),
            "a wait has limits");
    DepthScale depth;
    if (readDepthScale(camera, setup.name, depth) == 0)
        require(std::isfinite(depth.scale) && depth.scale > 0 && std::isfinite(depth.offset),
                "counts are distances");
}

void run(ArvCamera &camera)
{
    const Sensor sensor = readSensor(camera);
    require(sensor.width >= 0 && sensor.height >= 0 && sensor.stepX >= 0 && sensor.stepY >= 0,
            "sizes are not below nothing");
    const CameraModes modes = readModes(camera, NetSettings({}), "");
    for (const StreamModes &stream : modes) {
        check(stream);
        if (!stream.records.empty())
            checkMode(camera, sensor, stream);
    }
    for (unsigned int id = 0; auto request = featureOfProperty(0x5c00 + id); ++id) {
        Bytes value;
        accessFeature(camera, *request, value);
    }
}

}  // namespace
}  // namespace nubrix::net

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t sizeBytes)
{
    using namespace nubrix::net;
    const std::string input(reinterpret_cast<const char *>(data), sizeBytes);
    const std::size_t end = std::min(input.find('\0'), input.size());
    content.description = input.substr(0, end);
    content.memory = input.substr(std::min(end + 1, input.size()));
    const ObjectPtr<ArvDevice> device(ARV_DEVICE(g_object_new(deviceType(), nullptr)));
    content.features =
        arv_gc_new(device.get(), content.description.data(), content.description.size());
    if (content.features == nullptr || !isComputable(*content.features)) {
        g_clear_object(&content.features);
        return 0;
    }
    Error error;
    if (const ObjectPtr<ArvCamera> camera{arv_camera_new_with_device(device.get(), error.out())})
        run(*camera);
    g_clear_object(&content.features);
    return 0;
}
