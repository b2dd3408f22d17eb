#include "doctor/Checks.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <numeric>
#include <optional>
#include "Camera.h"
#include "Failure.h"
#include "common/Text.h"
#include "doctor/Machine.h"

namespace nubrix::tool {

namespace {

using State = Finding::State;

constexpr double kUsableShare = 0.8;  // of a USB 2 bus; the rest is for everything else
constexpr double kCodedShare = 0.64;  // of USB 3 at 5 Gbit/s: 8 of 10 bits are data
constexpr double kPacketShare = 0.9;  // of a network; headers and what else goes on
constexpr double kHighSpeed = 480;    // megabits per second
constexpr double kSuperSpeed = 5000;

struct Place {
    std::string uri;
    std::string location;
    std::string label;
};

std::vector<Place> allCameras(Session &session)
{
    std::vector<Place> places;
    for (const CameraInfo &camera : session.cameras()) {
        std::string label = camera.productName.empty() ? "no name" : camera.productName;
        label += camera.serialNumber.empty() ? ", no serial number" : ", " + camera.serialNumber;
        places.push_back({camera.uri, camera.location, label});
    }
    _NubrixGmslDeviceInfo *records = nullptr;
    unsigned int count = 0;
    // Fails when there is no driver for them, which another check has told.
    if (session.context().nubrixGetGmslDeviceList(&records, &count) != 0 || records == nullptr)
        return places;
    for (unsigned int i = 0; i < count; ++i)
        places.push_back({fieldText(records[i].devicePath), {}, "not USB"});
    return places;
}

/// The address of a network camera.
std::optional<std::uint32_t> addressOf(const std::string &uri)
{
    return uri.rfind("net:", 0) == 0 ? parseIpv4(uri.substr(4)) : std::nullopt;
}

/// What a camera sends, unless it compresses.
double megabitsOf(const std::string &uri, const StreamKind &kind,
                  const typedefNubrixFrameMode &mode)
{
    int bits = mode.pixelFormat == NUBRIX_PIXEL_GREY8 ? 8 : 16;
    // USB has colours as YUV: 16 bits a pixel, whatever the frames have then.
    if (kind.type == NUBRIX_STREAM_COLOR)
        bits = addressOf(uri) ? 24 : 16;
    return 1e-6 * mode.width * mode.height * mode.frameRate * bits;
}

Finding inspect(Session &session, const Place &place, std::vector<CameraLoad> &loads)
{
    Camera camera(session, place.uri);
    std::vector<double> needs;
    std::string streams;
    for (const StreamKind &kind : kStreamKinds) {
        const std::size_t modes = camera.modes(kind).size();
        if (modes == 0)
            continue;
        streams += std::string(streams.empty() ? "" : ", ") + kind.name + " with " +
                   std::to_string(modes) + (modes == 1 ? " mode" : " modes");
        if (const auto mode = camera.currentMode(kind))
            needs.push_back(megabitsOf(place.uri, kind, *mode));
    }
    if (streams.empty()) {
        return {place.uri, State::kProblem, place.label + ": it has no streams",
                std::string("none of its pixel formats is supported; ") +
                    (addressOf(place.uri) ? "docs/network.md" : "docs/usb.md") +
                    " lists those that are"};
    }
    loads.push_back({place.uri, place.location, loadOf(place.uri, needs)});
    return {place.uri, State::kGood, place.label + ": " + streams};
}

/// What of a bus video can have.
double usable(double speed)
{
    return speed * (speed == kSuperSpeed ? kCodedShare : kUsableShare);
}

std::string textOf(double megabits)
{
    return std::to_string(std::lround(megabits)) + " Mbit/s";
}

/// Of a bus, from the places "1-2.3" on it.
std::string busOf(const std::string &location)
{
    return location.substr(0, location.find('-'));
}

Finding inspectPort(const Machine &machine, const CameraLoad &camera, double speed)
{
    const std::string text = "on a bus of " + textOf(speed);
    // What can do more tells so by its version, also where it may not.
    const bool couldMore =
        std::atof(machine.read("/sys/bus/usb/devices/" + camera.location + "/version").c_str()) >
        2.0;
    if (speed < kHighSpeed)
        return {camera.uri, State::kProblem, text + ": too slow for pictures",
                "use another cable, port or hub"};
    if (speed == kHighSpeed && couldMore)
        return {camera.uri, State::kNote, text + ", though the camera can do USB 3",
                "use a USB 3 cable in a USB 3 port (blue, or marked SS)"};
    if (camera.megabits > usable(speed)) {
        return {camera.uri, State::kNote,
                text + ", of which " + textOf(usable(speed)) + " are for video; its streams need " +
                    textOf(camera.megabits) + " unless it compresses",
                "choose smaller modes or lower rates, or fewer streams at once"};
    }
    return {camera.uri, State::kGood, text + "; its streams need " + textOf(camera.megabits)};
}

}  // namespace

double loadOf(const std::string &uri, const std::vector<double> &needs)
{
    if (needs.empty())
        return 0;
    return addressOf(uri) ? *std::max_element(needs.begin(), needs.end())
                          : std::accumulate(needs.begin(), needs.end(), 0.0);
}

Findings checkCameras(Session &session, std::vector<CameraLoad> &loads)
{
    Findings findings;
    for (const Place &place : allCameras(session)) {
        try {
            findings.push_back(inspect(session, place, loads));
        } catch (const Failure &failure) {
            findings.push_back({place.uri, State::kProblem, failure.what(),
                                "see what the driver says on stderr, and the checks above"});
        }
    }
    if (findings.empty())
        findings.push_back({"cameras", State::kNote, "none is attached",
                            "plug one in; if it is, the checks above tell what stands in its way"});
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
        const double whole = std::atof(machine.read(folder + "usb" + number + "/speed").c_str());
        bus.usable = usable(whole > 0 ? whole : speed);
        bus.needed += camera.megabits;
        ++bus.cameras;
    }
    for (const auto &[number, bus] : buses) {
        if (bus.cameras > 1 && bus.needed > bus.usable) {
            findings.push_back({"bus " + number, State::kNote,
                                "its " + std::to_string(bus.cameras) + " cameras need " +
                                    textOf(bus.needed) + " together, and it has " +
                                    textOf(bus.usable) + " for video",
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
        findings.push_back({name, State::kNote,
                            "the streams of cameras on it (" + std::to_string(load.cameras) +
                                ") need " + textOf(load.needed) + ", and it carries " +
                                textOf(speed * kPacketShare) + " of pictures",
                            "choose smaller modes or lower rates, fewer streams at once, or "
                            "another interface for some of the cameras"});
    }
    return findings;
}

}  // namespace nubrix::tool
