#include "net/Aravis.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <utility>
#include <vector>

#include "net/CameraWorker.h"
#include "net/Genicam.h"
#include "net/NetSettings.h"

namespace nubrix::net {

namespace {

using Outcome = ControlChannel::Outcome;

constexpr std::uint32_t kDescriptionRegisters[] = {0x200, 0x400};
constexpr std::size_t kLongestUrl = 512;

ControlChannel &channelOf(gpointer device)
{
    static const GQuark key = g_quark_from_static_string("nubrix-channel");
    return *static_cast<ControlChannel *>(g_object_get_qdata(G_OBJECT(device), key));
}

void setChannel(GObject *device, guint /*id*/, const GValue *channel, GParamSpec * /*property*/)
{
    const GQuark key = g_quark_from_static_string("nubrix-channel");
    g_object_set_qdata(device, key, g_value_get_pointer(channel));
}

gboolean conclude(Outcome outcome, std::uint16_t refusal, GError **error)
{
    switch (outcome) {
        case Outcome::kOk:
            return TRUE;
        case Outcome::kNoAnswer:
            g_set_error_literal(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_TIMEOUT,
                                "the camera does not answer");
            break;
        case Outcome::kLate:
            g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT,
                                "the camera does not do it in time");
            break;
        case Outcome::kRefused:
            g_set_error(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_PROTOCOL_ERROR,
                        "the camera refuses it by 0x%04x", static_cast<unsigned int>(refusal));
            break;
        case Outcome::kInvalid:
            g_set_error_literal(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_PROTOCOL_ERROR,
                                "the camera's answer makes no sense");
            break;
    }
    return FALSE;
}

/// Runs an access for Aravis, through which no exception may pass.
template <class Access>
gboolean run(ArvDevice *device, guint64 address, GError **error, Access access)
try {
    ControlChannel &channel = channelOf(device);
    if (address > UINT32_MAX)
        return conclude(Outcome::kInvalid, 0, error);
    const Outcome outcome = access(channel, static_cast<std::uint32_t>(address));
    return conclude(outcome, channel.refusal(), error);
} catch (const std::exception &failure) {
    g_set_error_literal(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_UNKNOWN, failure.what());
    return FALSE;
}

gboolean readMemory(ArvDevice *device, guint64 address, guint32 size, void *buffer, GError **error)
{
    auto *bytes = static_cast<std::uint8_t *>(buffer);
    return run(device, address, error, [&](ControlChannel &channel, std::uint32_t at) {
        return channel.readMemory(at, bytes, size);
    });
}

gboolean writeMemory(ArvDevice *device, guint64 address, guint32 size, void *buffer, GError **error)
{
    return run(device, address, error, [&](ControlChannel &channel, std::uint32_t at) {
        return channel.writeMemory(at, static_cast<const std::uint8_t *>(buffer), size);
    });
}

gboolean readRegister(ArvDevice *device, guint64 address, guint32 *value, GError **error)
{
    return run(device, address, error, [&](ControlChannel &channel, std::uint32_t at) {
        return channel.readRegister(at, *value);
    });
}

gboolean writeRegister(ArvDevice *device, guint64 address, guint32 value, GError **error)
{
    return run(device, address, error, [&](ControlChannel &channel, std::uint32_t at) {
        return channel.writeRegister(at, value);
    });
}

/// Makes the stream as Aravis does, but without its check that the device is the controller: Aravis
/// does not know that the channel has the control.
ArvStream *createStream(ArvDevice *device, ArvStreamCallback callback, void *user,
                        GDestroyNotify destroy, GError **error)
{
    return ARV_STREAM(g_initable_new(ARV_TYPE_GV_STREAM, nullptr, error, "device", device,
                                     "callback", callback, "callback-data", user, "destroy-notify",
                                     destroy, nullptr));
}

void initClass(gpointer type, gpointer /*data*/)
{
    auto *object = G_OBJECT_CLASS(type);
    object->set_property = &setChannel;
    const auto flags = GParamFlags(G_PARAM_WRITABLE | G_PARAM_CONSTRUCT_ONLY);
    g_object_class_install_property(
        object, 1, g_param_spec_pointer("channel", "channel", "access to the registers", flags));
    auto *device = ARV_DEVICE_CLASS(type);
    device->read_memory = &readMemory;
    device->write_memory = &writeMemory;
    device->read_register = &readRegister;
    device->write_register = &writeRegister;
    device->create_stream = &createStream;
}

/// The names of types are unique in the process, which may have several copies of the driver.
GType deviceType()
{
    static const GType type = [] {
        char name[64];
        std::snprintf(name, sizeof name, "NubrixControlledDevice-%p",
                      reinterpret_cast<void *>(&deviceType));
        GTypeQuery parent = {};
        g_type_query(ARV_TYPE_GV_DEVICE, &parent);
        return g_type_register_static_simple(ARV_TYPE_GV_DEVICE, name, parent.class_size,
                                             &initClass, parent.instance_size, nullptr,
                                             GTypeFlags(0));
    }();
    return type;
}

/// Checks the location and the size of the camera's description, because Aravis does not. Aravis
/// cannot be given a description: it reads the location again by a socket of its own. A camera that
/// reports another one then passes this check.
gboolean checkDescription(ControlChannel &channel, GError **error)
{
    for (const std::uint32_t address : kDescriptionRegisters) {
        char location[kLongestUrl + 1] = {};
        const Outcome outcome =
            channel.readMemory(address, reinterpret_cast<std::uint8_t *>(location), kLongestUrl);
        if (outcome != Outcome::kOk)
            return conclude(outcome, channel.refusal(), error);
        if (location[0] == 0)
            continue;
        const auto description = parseLocation(location);
        if (!description) {
            g_set_error(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_GENICAM_NOT_FOUND,
                        "its description is not in the camera, or larger than %zu bytes",
                        kLargestDescription);
            return FALSE;
        }
        if (!description->isArchive)
            continue;
        std::vector<std::uint8_t> archive(description->size);
        const Outcome read =
            channel.readMemory(description->address, archive.data(), archive.size());
        if (read != Outcome::kOk || isDescriptionTooLarge(archive.data(), archive.size()))
            return conclude(read != Outcome::kOk ? read : Outcome::kInvalid, channel.refusal(),
                            error);
    }
    return TRUE;
}

int statusOfSocket(int code)
{
    switch (code) {
        case G_IO_ERROR_TIMED_OUT:
        case G_IO_ERROR_HOST_UNREACHABLE:
        case G_IO_ERROR_NETWORK_UNREACHABLE:
        case G_IO_ERROR_HOST_NOT_FOUND:
        case G_IO_ERROR_CONNECTION_REFUSED:
        case G_IO_ERROR_CONNECTION_CLOSED:
        case G_IO_ERROR_NOT_CONNECTED:
            return kGone;
        default:
            return kFailed;
    }
}

int statusOfDescription(int code)
{
    switch (code) {
        case ARV_GC_ERROR_OUT_OF_RANGE:
        case ARV_GC_ERROR_ENUM_ENTRY_NOT_FOUND:
        case ARV_GC_ERROR_INVALID_LENGTH:
        case ARV_GC_ERROR_READ_ONLY:
        case ARV_GC_ERROR_INVALID_SYNTAX:
            return kBadArgument;
        case ARV_GC_ERROR_NODE_NOT_FOUND:
            return kUnsupported;
        default:
            return kFailed;
    }
}

}  // namespace

bool isLate(const Error &error)
{
    return error && g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_TIMED_OUT);
}

int statusOf(const Error &error)
{
    if (!error)
        return kDone;
    if (error.get()->domain == G_IO_ERROR)
        return statusOfSocket(error.get()->code);
    if (error.get()->domain == ARV_GC_ERROR)
        return statusOfDescription(error.get()->code);
    if (error.get()->domain != ARV_DEVICE_ERROR)
        return kFailed;
    switch (error.get()->code) {
        case ARV_DEVICE_ERROR_TIMEOUT:
        case ARV_DEVICE_ERROR_NOT_CONNECTED:
        case ARV_DEVICE_ERROR_TRANSFER_ERROR:
            return kGone;
        case ARV_DEVICE_ERROR_NOT_CONTROLLER:
            return kWrongState;
        case ARV_DEVICE_ERROR_FEATURE_NOT_FOUND:
        case ARV_DEVICE_ERROR_NO_STREAM_CHANNEL:
            return kUnsupported;
        case ARV_DEVICE_ERROR_INVALID_PARAMETER:
        case ARV_DEVICE_ERROR_WRONG_FEATURE:
            return kBadArgument;
        default:
            return kFailed;
    }
}

int reportError(const std::string &name, const Error &error)
{
    const int status = statusOf(error);
    if (isLate(error)) {
        kReporter.error(name + " answers, but does not complete requests in time");
    } else if (status == kGone) {
        kReporter.error(name +
                        " does not answer: check its cable and its power, then open it again");
    } else if (status == kWrongState) {
        kReporter.error(name + " is no longer under control: another application has taken it");
    } else {
        kReporter.error(name + " failed: " + error.text());
    }
    return status;
}

ObjectPtr<ArvDevice> makeDevice(ControlChannel &channel, GInetAddress &local, GInetAddress &remote,
                                Error &error)
{
    GError **out = error.out();
    if (!checkDescription(channel, out))
        return nullptr;
    ObjectPtr<ArvDevice> device(ARV_DEVICE(g_initable_new(deviceType(), nullptr, out, "channel",
                                                          &channel, "interface-address", &local,
                                                          "device-address", &remote, nullptr)));
    if (!device)
        return nullptr;
    if (channel.isLate()) {  // Aravis also takes long to parse a large description
        conclude(Outcome::kLate, 0, out);
        return nullptr;
    }
    ArvGc *features = arv_device_get_genicam(device.get());
    if (features == nullptr || !isComputable(*features)) {
        g_set_error_literal(out, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_GENICAM_NOT_FOUND,
                            "its description is empty, or its features depend on themselves or on "
                            "too many others");
        return nullptr;
    }
    // The heartbeat of Aravis does nothing without the control. With the control it would wait
    // seconds for an unresponsive camera, and the destruction of the device would wait for the
    // heartbeat.
    if (!arv_gv_device_leave_control(ARV_GV_DEVICE(device.get()), out))
        return nullptr;
    const Outcome outcome = channel.takeControl();
    return conclude(outcome, channel.refusal(), out) ? std::move(device) : nullptr;
}

void invalidateAddress(GInetAddress &address)
{
    // The broadcast address: the kernel does not let a socket send to it that has not enabled that.
    // Aravis may be reading the address meanwhile, so all bytes change at once.
    void *bytes = const_cast<guint8 *>(g_inet_address_to_bytes(&address));
    std::atomic_ref<std::uint32_t>(*static_cast<std::uint32_t *>(bytes)) = UINT32_MAX;
}

void invalidateAddressOf(ArvDevice &device)
{
    GSocketAddress *remote = arv_gv_device_get_device_address(ARV_GV_DEVICE(&device));
    invalidateAddress(*g_inet_socket_address_get_address(G_INET_SOCKET_ADDRESS(remote)));
}

}  // namespace nubrix::net
