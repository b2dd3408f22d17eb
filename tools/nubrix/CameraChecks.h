// Whether each attached camera can do its work, and its bus can carry it: 'nubrix doctor'.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Finding.h"
#include "Machine.h"
#include "Session.h"

namespace nubrix {

/// What is known of a camera that was opened.
struct CameraLoad {
    std::string uri;
    std::string location;  // its place on the bus, "1-2.3"; empty when it is not USB
    double megabits;       // per second, in the current modes: all streams together, or the
                           // largest of a network camera, which sends one at a time
};

/// What a camera sends at most when each of its streams needs so much.
double loadOf(const std::string &uri, const std::vector<double> &needs);
/// Opens each camera and looks at its modes; adds those that can be opened to `loads`.
Findings checkCameras(Session &session, std::vector<CameraLoad> &loads);
/// Whether each USB camera is plugged in well, and whether those of one bus can stream together.
Findings checkBuses(const Machine &machine, const std::vector<CameraLoad> &loads);
/// Whether each network interface can carry what its cameras send, all together.
Findings checkNetworkLoads(const Machine &machine, const std::vector<CameraLoad> &loads);

}  // namespace nubrix
