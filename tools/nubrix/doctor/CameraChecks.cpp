#include "doctor/Checks.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <numeric>
#include <optional>
#include "Cameras.h"
#include "Names.h"
#include "common/Text.h"
#include "doctor/Machine.h"

namespace nubrix::tool {

namespace {

using State = Finding::State;

constexpr double kUsableShare = 0.8;  // of a USB 2 bus; the rest is protocol and other devices
constexpr double kCodedShare = 0.64;  // of USB 3 at 5 Gbit/s, whose line code has 8 data bits in 10
constexpr double kPacketShare = 0.9;  // of a network; the rest is headers and other traffic
constexpr double kHighSpeed = 480;    // megabits per second
constexpr double kSuperSpeed = 5000;

struct ListedCamera {
    std::string uri;
    std::string location;
    std::string label;
};

std::vector<ListedCamera> allCameras(const client::Session &session)
{
    std::vector<ListedCamera> cameras;
    for (const client::CameraInfo &info : attachedCameras(session)) {
        std::string label = info.productName.empty() ? "no name" : info.productName;
        label += info.serialNumber.empty() ? ", no serial number" : ", " + info.serialNumber;
        cameras.push_back({info.uri, info.location, label});
    }
    _NubrixGmslDeviceInfo *records = nullptr;
    unsigned int count = 0;
    // Fails when no driver for them is loaded, which another check reports.
    if (session.context().nubrixGetGmslDeviceList(&records, &count) != 0 || records == nullptr)
        return cameras;
    for (unsigned int i = 0; i < count; ++i)
        cameras.push_back({fieldText(records[i].devicePath), {}, "not USB"});
    return cameras;
}

/// The address of a network camera; none for other cameras.
std::optional<std::uint32_t> addressOf(const std::string &uri)
{
    return uri.rfind("net:", 0) == 0 ? parseIpv4(uri.substr(4)) : std::nullopt;
}

/// The bandwidth of a stream without compression.
double megabitsOf(const std::string &uri, client::StreamType type, const client::Mode &mode)
{
    int bits = mode.format == NUBRIX_PIXEL_GREY8 ? 8 : 16;
    // USB cameras send colour as YUV with 16 bits per pixel, whatever the format of the frames.
    if (type == client::StreamType::kColor)
        bits = addressOf(uri) ? 24 : 16;
    return 1e-6 * mode.width * mode.height * mode.framesPerSecond * bits;
}

Finding inspectCamera(const client::Session &session, const ListedCamera &listed,
                      std::vector<CameraLoad> &loads)
{
    const client::Camera camera = session.open(listed.uri);
    std::vector<double> streamLoads;
    std::string streams;
    for (const client::StreamType type : kStreamTypes) {
        const std::size_t modes = camera.modes(type).size();
        if (modes == 0)
            continue;
        streams += std::string(streams.empty() ? "" : ", ") + client::name(type) + " with " +
                   std::to_string(modes) + (modes == 1 ? " mode" : " modes");
        if (const auto mode = camera.mode(type))
            streamLoads.push_back(megabitsOf(listed.uri, type, *mode));
    }
    if (streams.empty()) {
        return {listed.uri, State::kProblem, listed.label + ": it has no streams",
                std::string("none of its pixel formats is supported; ") +
                    (addressOf(listed.uri) ? "docs/network.md" : "docs/usb.md") +
                    " lists those that are"};
    }
    loads.push_back({listed.uri, listed.location, loadOf(listed.uri, streamLoads)});
    return {listed.uri, State::kGood, listed.label + ": " + streams};
}

/// The share of a bus that video can use.
double usable(double speed)
{
    return speed * (speed == kSuperSpeed ? kCodedShare : kUsableShare);
}

std::string rateText(double megabits)
{
    return std::to_string(std::lround(megabits)) + " Mbit/s";
}

/// The number of the bus in a location such as "1-2.3".
std::string busOf(const std::string &location)
{
    return location.substr(0, location.find('-'));
}

Finding inspectPort(const Machine &machine, const CameraLoad &camera, double speed)
{
    const std::string text = "on a bus of " + rateText(speed);
    // The version states what the device supports, also on a slower port.
    const bool couldMore =
        std::atof(machine.read("/sys/bus/usb/devices/" + camera.location + "/version").c_str()) >
        2.0;
    if (speed < kHighSpeed)
        return {camera.uri, State::kProblem, text + ": too slow for video",
                "use another cable, port or hub"};
    if (speed == kHighSpeed && couldMore)
        return {camera.uri, State::kNote, text + ", although the camera supports USB 3",
                "use a USB 3 cable in a USB 3 port (blue, or marked SS)"};
    if (camera.megabits > usable(speed)) {
        return {camera.uri, State::kNote,
                text + ", of which " + rateText(usable(speed)) +
                    " are for video; its streams need " + rateText(camera.megabits) +
                    " unless it compresses",
                "choose smaller modes, lower frame rates or fewer streams at the same time"};
    }
    return {camera.uri, State::kGood, text + "; its streams need " + rateText(camera.megabits)};
}

}  // namespace

double loadOf(const std::string &uri, const std::vector<double> &streamLoads)
{
    if (streamLoads.empty())
        return 0;
    return addressOf(uri) ? *std::max_element(streamLoads.begin(), streamLoads.end())
                          : std::accumulate(streamLoads.begin(), streamLoads.end(), 0.0);
}

Findings checkCameras(const client::Session &session, std::vector<CameraLoad> &loads)
{
    Findings findings;
    for (const ListedCamera &listed : allCameras(session)) {
        try {
            findings.push_back(inspectCamera(session, listed, loads));
        } catch (const client::Error &error) {
            findings.push_back({listed.uri, State::kProblem, error.what(),
                                "see the driver's messages on stderr, and the checks above"});
        }
    }
    if (findings.empty())
        findings.push_back({"cameras", State::kNote, "none is attached",
                            "plug one in; if one is plugged in, see the checks above"});
    return findings;
}

Findings checkBuses(const Machine &machine, const std::vector<CameraLoad> &loads)
{
    struct Bus {
        double usable = 0;
        double needed = 0;
        unsigned int cameras = 0;
    };
    Findings findings;
    std::map<std::string, Bus> buses;
    for (const CameraLoad &camera : loads) {
        const std::string folder = "/sys/bus/usb/devices/";
        const double speed = std::atof(machine.read(folder + camera.location + "/speed").c_str());
        if (camera.location.empty() || speed <= 0)
            continue;
        findings.push_back(inspectPort(machine, camera, speed));
        const std::string number = busOf(camera.location);
        Bus &bus = buses[number];
        const double busSpeed = std::atof(machine.read(folder + "usb" + number + "/speed").c_str());
        bus.usable = usable(busSpeed > 0 ? busSpeed : speed);
        bus.needed += camera.megabits;
        ++bus.cameras;
    }
    for (const auto &[number, bus] : buses) {
        if (bus.cameras > 1 && bus.needed > bus.usable) {
            findings.push_back({"bus " + number, State::kNote,
                                "its " + std::to_string(bus.cameras) + " cameras need " +
                                    rateText(bus.needed) + " together, but it has " +
                                    rateText(bus.usable) + " for video",
                                "plug one of them into a port of another bus"});
        }
    }
    return findings;
}

Findings checkNetworkLoads(const Machine &machine, const std::vector<CameraLoad> &loads)
{
    struct Load {
        double needed = 0;
        unsigned int cameras = 0;
    };
    std::map<std::string, Load> interfaces;
    for (const CameraLoad &camera : loads) {
        if (const auto address = addressOf(camera.uri)) {
            Load &load = interfaces[interfaceOf(machine, *address)];
            load.needed += camera.megabits;
            ++load.cameras;
        }
    }
    Findings findings;
    for (const auto &[name, load] : interfaces) {
        const double speed = std::atof(machine.read("/sys/class/net/" + name + "/speed").c_str());
        if (name.empty() || speed <= 0 || load.needed <= speed * kPacketShare)
            continue;
        findings.push_back(
            {name, State::kNote,
             "the streams of cameras on it (" + std::to_string(load.cameras) + ") need " +
                 rateText(load.needed) + ", but it carries only " + rateText(speed * kPacketShare) +
                 " of video",
             "choose smaller modes, lower frame rates or fewer streams at the same time, or "
             "another interface for some of the cameras"});
    }
    return findings;
}

}  // namespace nubrix::tool
