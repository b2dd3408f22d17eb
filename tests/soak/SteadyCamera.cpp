#include "tests/soak/Workers.h"

namespace nubrix::soak {

using client::Camera;
using client::Frame;
using client::Stream;
using client::StreamType;

void readSteadyCamera(World &world, const std::function<void()> &started)
{
    try {
        Camera camera = world.session.open(kSteadyUri);
        Stream color = camera.start(StreamType::kColor, [&world](const Frame &frame) {
            world.receive(frame);
            world.rest.rest();
        });
        Stream depth = camera.start(StreamType::kDepth);
        const Booking colorBooking(world, color.handle());
        const Booking depthBooking(world, depth.handle());
        world.ledgers.keep(color.handle());
        world.ledgers.keep(depth.handle());
        Frame frame = depth.next(kFrameTimeout);
        started();
        while (!world.rest.isOver()) {
            world.receive(frame);
            world.rest.rest();
            frame = {};
            frame = depth.next(kFrameTimeout);
        }
    } catch (const std::exception &error) {
        world.defect(std::string("the steady camera: ") + error.what());
    }
}

}  // namespace nubrix::soak
