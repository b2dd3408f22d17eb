// The checks of 'nubrix doctor' and what they report. Each source next to this file implements one
// group of them; those of the library and its plug-ins are in LibraryChecks.h.
#pragma once

#include <string>
#include <vector>

#include "doctor/Machine.h"
#include "nubrix/client/session.h"

namespace nubrix::tool {

/// The result of one check.
struct Finding {
    enum class State {
        kGood,
        kNote,     ///< works, but not for every user or not as well as it could
        kProblem,  ///< something does not work
    };

    std::string name;  // what was checked
    State state;
    std::string text;       // what was found
    std::string cure = {};  // how to fix it; empty for kGood
};

using Findings = std::vector<Finding>;

// --- USB cameras: SystemChecks.cpp

/// The kernel module for USB cameras.
Findings checkKernel(const Machine &machine);
/// Attached USB cameras that uvcvideo does not drive; empty if there are none.
Findings checkUndrivenCameras(const Machine &machine);
/// The service that reports attached and detached cameras.
Findings checkUdev(const Machine &machine);
/// The udev rule that grants access to the user at the console.
Findings checkUdevRule(const Machine &machine);
/// Whether the user may open the video nodes.
Findings checkPermissions(const Machine &machine);

// --- Network cameras: NetworkChecks.cpp

/// The names of the interfaces that cameras can be attached to: physical ones, and virtual ones
/// that have an address. Without the loopback interface.
std::vector<std::string> cameraInterfaces(const Machine &machine);
/// Whether each of these interfaces suits a camera: it is up, has an address, is fast and takes
/// large packets.
Findings checkInterfaces(const Machine &machine);
/// Interfaces in the same network: the system sends packets through only one of them.
Findings checkNetworks(const Machine &machine);
/// The largest receive buffer that a socket may have.
Findings checkSocketBuffers(const Machine &machine);
/// Interfaces that drop packets from addresses without a route; empty if there are none.
Findings checkReversePath(const Machine &machine);
/// Programs that use the port of network cameras on this machine; empty if there are none.
Findings checkCameraPort(const Machine &machine);

/// Whether a firewall drops the packets of network cameras: FirewallChecks.cpp.
Findings checkFirewall(const Machine &machine);

/// Whether the network driver can read the files nubrixNet.ini, each of which overrides those
/// before it, and understands their entries, and whether the addresses in them can be reached:
/// NetSettingsChecks.cpp.
Findings checkNetSettings(const Machine &machine, const std::vector<std::string> &paths);

// --- The cameras themselves: CameraChecks.cpp

/// The bandwidth that an opened camera needs.
struct CameraLoad {
    std::string uri;
    std::string location;  // place on the USB bus, "1-2.3"; empty for other cameras
    double megabits;       // per second in the current modes: the sum of all streams, or the
                           // largest for a network camera, which sends one stream at a time
};

/// The bandwidth of a camera whose streams need this many megabits per second each.
double loadOf(const std::string &uri, const std::vector<double> &streamLoads);
/// Opens each camera and reads its modes; appends those that could be opened to `loads`.
Findings checkCameras(const client::Session &session, std::vector<CameraLoad> &loads);
/// Whether each USB camera is on a fast port, and whether the cameras of a bus can stream together.
Findings checkBuses(const Machine &machine, const std::vector<CameraLoad> &loads);
/// Whether each network interface can carry all streams of its cameras together.
Findings checkNetworkLoads(const Machine &machine, const std::vector<CameraLoad> &loads);

}  // namespace nubrix::tool
