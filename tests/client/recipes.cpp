// The recipes of docs/client.md, word for word; a test compares them. Runs them on one camera, in
// the current folder.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "nubrix/client.h"
#include "nubrix/image.h"

using namespace nubrix::client;

namespace {

std::vector<Frame> g_kept;
float g_nearest = 100;

void firstFrame()
{
    Camera camera = Session().open();  // the first one
    const Frame frame = camera.start(StreamType::kDepth).next();
    const double mm = frame.millimetres(frame.width() / 2, frame.height() / 2);
    std::printf("%.1f mm to the middle\n", mm);
}

void listCameras()
{
    const Session session;
    for (const CameraInfo &each : session.cameras())
        std::printf("%s  %s\n", each.uri.c_str(), each.productName.c_str());
}

void everyFrame(Camera camera)
{
    Stream depth = camera.start(StreamType::kDepth);
    for (const Frame &frame : depth) {  // until the camera is gone or stop() is called
        const auto image = frame.image<unsigned short>();
        std::printf("frame %u: code %u\n", frame.index(), image(0, 0));
        if (frame.index() >= 10)
            depth.stop();
    }
}

void severalStreams(Camera camera)
{
    Stream depth = camera.start(StreamType::kDepth);
    Stream color = camera.start(StreamType::kColor);
    for (int i = 0; i < 20; ++i) {
        const Frame frame = waitAny({&depth, &color}).tryNext();
        if (frame)  // no other thread took it
            std::printf("%s %u\n", name(frame.type()), frame.index());
    }
}

void functionForEachFrame(Camera camera)
{
    std::atomic<unsigned int> last{0};
    Stream color = camera.start(StreamType::kColor, [&last](const Frame &frame) {
        last = frame.index();  // on the stream's own thread
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    color.stop();  // afterwards the function is not called any more
    const StreamFigures figures = color.figures();
    std::printf("%u is the last, %.1f frames/s\n", last.load(), figures.framesPerSecond);
}

void keepFrames(Camera camera)
{
    Stream depth = camera.start(StreamType::kDepth);
    for (int i = 0; i < 20; ++i)
        g_kept.push_back(depth.next().clone());  // clones are not of the 10 frames
}

void modesAndProperties(Camera camera)
{
    for (const Mode &mode : camera.modes(StreamType::kDepth)) {
        if (mode.width == 320 && mode.framesPerSecond == 15)
            camera.setMode(StreamType::kDepth, mode);
    }
    camera.setProperty(NUBRIX_PROPERTY_STREAM_FLAG_MODE, 2U);
    const auto flags = camera.property<unsigned int>(NUBRIX_PROPERTY_STREAM_FLAG_MODE);
    const Intrinsics optics = camera.intrinsics(StreamType::kDepth);
    std::printf("flags %u, fx %.1f, serial %s\n", flags, static_cast<double>(optics.fx),
                camera.versions().serialNumber);
}

void recordAndPhoto(Camera camera)
{
    camera.photo("photo.bmp");
    Recorder recorder = camera.record("room.bin", {StreamType::kDepth, StreamType::kColor});
    std::this_thread::sleep_for(std::chrono::seconds(1));
    recorder.finish();  // throws when the disk is full
}

void readRecording()
{
    const Recording recording("room.bin");
    if (const Damage damage = recording.damage())
        std::printf("%s, %llu bytes lost\n", damage.problem.c_str(), damage.lostBytes);
    const auto depths = recording.frames(StreamType::kDepth);
    if (depths.empty())
        return;
    const auto begin = depths.timeOf(0);
    for (auto at = depths.seek(begin + Milliseconds(500)); at != depths.end(); ++at) {
        const Frame frame = *at;
        std::printf("%.1f mm\n", frame.millimetres(0, 0));
    }
}

void camerasThatLeave()
{
    const Session session;
    const Subscription subscription =  // ends the calls when it is destroyed
        session.onCamerasChanged([](const std::string &uri, bool attached) {
            std::printf("%s %s\n", uri.c_str(), attached ? "arrived" : "left");
        });
    Camera camera = session.open();
    std::printf("%s\n", camera.isConnected() ? "connected" : "gone");
}

void pointsOf(Camera camera)
{
    const Frame frame = camera.start(StreamType::kDepth).nextComplete();
    for (const auto &point : pointCloud(frame, camera.intrinsics(StreamType::kDepth))) {
        if (point.z > 0)  // something was measured there
            g_nearest = std::min(g_nearest, point.z);
    }
}

void errors()
{
    try {
        Session().open("usb:1-2").start(StreamType::kDepth).next();
    } catch (const Unplugged &) {
        std::puts("plug it in again");
    } catch (const Timeout &error) {
        std::puts(error.what());  // also when the application holds all frames
    } catch (const Error &error) {
        std::printf("%s returned %d: %s\n", error.operation(), error.status(), error.what());
    }
}

}  // namespace

int main()
{
    try {
        firstFrame();
        listCameras();
        const Camera camera = Session().open();
        everyFrame(camera);
        severalStreams(camera);
        functionForEachFrame(camera);
        keepFrames(camera);
        modesAndProperties(camera);
        recordAndPhoto(camera);
        readRecording();
        pointsOf(camera);
    } catch (const Error &error) {
        std::printf("failed: %s\n", error.what());
        return 1;
    }
    camerasThatLeave();
    errors();
    const bool areKept = g_kept.size() == 20 && g_kept[0].index() != g_kept[19].index();
    return areKept && g_nearest > 1 && g_nearest < 4 ? 0 : 1;
}
