// How fast a recorder writes, against a bare write() of the same bytes to a file of the same kind.
// For frames of 64x48, where what is written in addition to the pixels weighs most, of 640x480, and
// of 1920x1080. Their bytes are random, so that no file system compresses them.
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "base/xp.h"
#include "bench/Ratio.h"
#include "bench/stream/BenchDriver.h"
#include "device/Device.h"
#include "nubrix/driver.h"
#include "record/StreamRecorder.h"
#include "stream/Sensor.h"
#include "stream/StreamFrameBaseListener.h"
#include "stream/VideoStream.h"

extern "C" nubrix::NubrixBaseDriver *driverInstance();
extern "C" void driverDestroy(nubrix::NubrixBaseDriver *driver);
extern "C" bool benchDeliver(unsigned int stream);
extern "C" void benchSetSize(int width, int height);

namespace {

/// How many frames a file gets, so that large ones fit the memory of small machines.
int framesOf(int width)
{
    return width > 640 ? 10 : 100;
}

struct Camera {
    Camera() { device.open("usb:bench-0"); }
    ~Camera()
    {
        device.close();
        driverDestroy(driver);
    }

    nubrix::NubrixBaseDriver *const driver = driverInstance();
    nubrix::Device device{*driver};
};

struct Listener final : nubrix::StreamFrameBaseListener {
    ~Listener() override { disconnect_all(); }
    void onNewFrame(nubrix::VideoStream *) override { notified = true; }

    std::atomic<bool> notified{false};
};

/// A stream with one frame in its queue.
struct StreamWithFrame {
    StreamWithFrame(nubrix::Device &device, unsigned int type)
        : sensor(device, type), stream(device, sensor)
    {
        Listener listener;
        stream.newFrameSignal().connect(&listener, &Listener::onNewFrame);
        if (stream.start() != 0 || !benchDeliver(0))
            std::abort();
        while (!listener.notified)
            std::this_thread::yield();
        nubrix::xp<nubrix::NubrixFrameRef> frame;
        if (stream.readFrame(frame, false) != 0)
            std::abort();
        std::mt19937 random(1);
        auto *const bytes = static_cast<unsigned char *>(frame->frame().data);
        for (unsigned int i = 0; i < frame->frame().dataSize; ++i)
            bytes[i] = static_cast<unsigned char>(random());
    }
    ~StreamWithFrame() { stream.stop(); }

    nubrix::Sensor sensor;
    nubrix::VideoStream stream;
};

void recordFrames(nubrix::StreamRecorder &recorder, nubrix::VideoStream &stream, int frames)
{
    recorder.Start();
    for (int i = 0; i < frames; ++i)
        recorder.onNewFrame(&stream);
    recorder.Stop();
}

/// A new file, for writing; gone with the object.
class BareFile {
public:
    explicit BareFile(const std::string &path)
        : m_path(path), m_file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644))
    {
    }
    ~BareFile()
    {
        close(m_file);
        std::filesystem::remove(m_path);
    }
    BareFile(const BareFile &) = delete;
    BareFile &operator=(const BareFile &) = delete;

    void write(const std::string &bytes) const
    {
        if (::write(m_file, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
            std::abort();
    }

private:
    const std::string m_path;
    const int m_file;
};

class RecorderFile {
public:
    RecorderFile(const std::string &path, nubrix::VideoStream &stream)
        : m_path(path), m_recorder(path)
    {
        m_recorder.AttachStream(&stream, stream.getFrameType(), 0);
        // The benchmark alone passes frames on: the stream's thread would add the one that is
        // queued.
        stream.newFrameSignal().disconnect(&m_recorder);
    }
    ~RecorderFile() { std::filesystem::remove(m_path); }
    RecorderFile(const RecorderFile &) = delete;
    RecorderFile &operator=(const RecorderFile &) = delete;

    nubrix::StreamRecorder &recorder() { return m_recorder; }

private:
    const std::string m_path;
    nubrix::StreamRecorder m_recorder;
};

/// What the recorder writes for the frame.
std::string recordOf(const std::string &path, nubrix::VideoStream &stream)
{
    RecorderFile file(path, stream);
    recordFrames(file.recorder(), stream, 1);
    std::ifstream written(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(written), {}};
}

void writeFrames(benchmark::State &state, const std::string &folder, unsigned int streamType)
{
    if (!std::filesystem::is_directory(folder)) {
        state.SkipWithError("there is no such folder");
        return;
    }
    Camera camera;
    benchSetSize(static_cast<int>(state.range(1)), static_cast<int>(state.range(2)));
    StreamWithFrame source(camera.device, streamType);
    const std::string path = folder + "/nubrix-bench-" + std::to_string(getpid());
    const std::string record = recordOf(path, source.stream);
    const int frames = framesOf(static_cast<int>(state.range(1)));
    std::vector<double> ours;
    std::vector<double> theirs;
    for (auto _ : state) {
        {
            const BareFile bare(path);
            theirs.push_back(nubrix::bench::secondsOf([&] {
                for (int i = 0; i < frames; ++i)
                    bare.write(record);
            }));
        }
        RecorderFile file(path, source.stream);
        ours.push_back(nubrix::bench::secondsOf(
            [&] { recordFrames(file.recorder(), source.stream, frames); }));
        state.SetIterationTime(ours.back());
        if (std::filesystem::file_size(path) != static_cast<std::size_t>(frames) * record.size())
            state.SkipWithError("the file has not the frames that were sent");
    }
    state.SetBytesProcessed(state.iterations() * frames * static_cast<std::int64_t>(record.size()));
    nubrix::bench::setRatio(state, 1e9 * nubrix::bench::median(ours) / frames,
                            1e9 * nubrix::bench::median(theirs) / frames);
}

void BM_StreamRecorder_Memory(benchmark::State &state)
{
    writeFrames(state, "/dev/shm", static_cast<unsigned int>(state.range(0)));
}

// The folder that the program is started in.
void BM_StreamRecorder_Disk(benchmark::State &state)
{
    writeFrames(state, ".", static_cast<unsigned int>(state.range(0)));
}

void streams(benchmark::internal::Benchmark *bench)
{
    bench->ArgNames({"stream", "width", "height"})
        ->Args({NUBRIX_STREAM_COLOR, 640, 480})
        ->Args({NUBRIX_STREAM_DEPTH, 640, 480})
        ->Args({NUBRIX_STREAM_DEPTH, 64, 48})
        ->Args({NUBRIX_STREAM_DEPTH, 1920, 1080})
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}
BENCHMARK(BM_StreamRecorder_Memory)->Apply(streams);
BENCHMARK(BM_StreamRecorder_Disk)->Apply(streams);

}  // namespace
