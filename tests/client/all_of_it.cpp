// Uses every operation of the client layer once, so that each template is compiled.
#include "nubrix/client.h"
#include "nubrix/image.h"

void useCamera(nubrix::client::Camera camera);
void useFrame(const nubrix::client::Frame &frame);
void useRecording(const std::string &path);
int useSession();

void useCamera(nubrix::client::Camera camera)
{
    using namespace nubrix::client;
    const auto modes = camera.modes(StreamType::kDepth);
    if (!modes.empty() && camera.mode(StreamType::kDepth) != modes.front())
        camera.setMode(StreamType::kDepth, modes.front());
    camera.setProperty(NUBRIX_PROPERTY_STREAM_FLAG_MODE, 2U);
    camera.setProperty(NUBRIX_PROPERTY_STREAM_FLAG_MODE, std::vector<unsigned char>(4));
    static_cast<void>(camera.property<unsigned int>(NUBRIX_PROPERTY_STREAM_FLAG_MODE));
    static_cast<void>(camera.property(NUBRIX_PROPERTY_VERSION));
    static_cast<void>(camera.versions());
    static_cast<void>(camera.intrinsics(StreamType::kDepth));
    camera.photo("photo.bmp");
    camera.upgrade("camera.fw", [](int) {});
    Recorder recorder = camera.record("room.bin", {StreamType::kDepth});
    Stream depth = camera.start(StreamType::kDepth);
    Stream color = camera.start(StreamType::kColor, modes.front(), 4);
    for (const Frame &frame : depth)
        useFrame(frame);
    useFrame(waitAny({&depth, &color}).tryNext());
    useFrame(waitAny(std::vector<Stream *>{&depth}).next());
    color.onFrame(useFrame);
    color = camera.start(StreamType::kColor, useFrame);
    color.check();
    useFrame(color.nextComplete());
    color = std::move(depth);
    static_cast<void>(color.figures().age);
    static_cast<void>(color.isOver());
    color.stop();
    recorder.finish();
}

void useFrame(const nubrix::client::Frame &frame)
{
    static_cast<void>(frame.image<unsigned short>()(0, 0));
    static_cast<void>(frame.image<RGB888Pixel>().row(0));
    static_cast<void>(frame.clone().millimetres(0, 0) * frame.millimetresPerUnit());
    static_cast<void>(nubrix::client::pointCloud(frame, {520, 520, 319.5F, 239.5F}));
    static_cast<void>(frame.time() - frame.clone().time());
}

void useRecording(const std::string &path)
{
    using namespace nubrix::client;
    Recording recording(path);
    for (const Frame &frame : recording)
        useFrame(frame);
    for (const Frame &frame : recording.frames(StreamType::kDepth))
        useFrame(frame);
    const auto frames = recording.frames();
    if (!recording.damage() && !frames.empty())
        useFrame(*frames.seek(frames.timeOf(0)));
    recording.update();
}

int useSession()
{
    using namespace nubrix::client;
    try {
        const Session session;
        Subscription subscription = session.onCamerasChanged([](const std::string &, bool) {});
        subscription = {};
        for (const CameraInfo &info : session.cameras())
            useCamera(session.open(info.uri));
    } catch (const Timeout &) {
        return 1;
    } catch (const Error &error) {
        return error.status() + static_cast<int>(error.code()) + error.operation()[0];
    }
    return 0;
}
