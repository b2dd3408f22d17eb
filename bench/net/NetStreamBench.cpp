// What a frame of a network camera costs the processor in the driver, which fills frames of the
// library's pool and looks for cameras meanwhile, against a bare client of Aravis at the same
// camera, which is a process of its own. What the library does with a frame then is the same for
// all drivers and not in it.
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "SimulatedCamera.h"
#include "bench/Ratio.h"
#include "net/NetDriver.h"
#include "stream/FrameAllocator.h"

namespace {

/// A camera with large frames, and one with a quarter of their bytes, where what a frame costs in
/// itself weighs more.
constexpr const char *kLargeAddress = "127.0.0.1";
constexpr const char *kSmallAddress = "127.0.0.2";
constexpr int kInFlight = 4;
constexpr int kPacket = 8192;
constexpr int kSocketBuffer = 4 << 20;

/// The camera; it ends with this process.
class Camera {
public:
    /// Forks, so no thread may run yet.
    Camera(const char *address, unsigned int width, unsigned int height)
    {
        int ends[2] = {-1, -1};
        if (pipe(ends) != 0)
            return;
        m_process = fork();
        if (m_process == 0)
            serve(address, width, height, ends[1]);
        close(ends[1]);
        char up = 0;
        m_isUp = read(ends[0], &up, 1) == 1;
        close(ends[0]);
    }
    ~Camera()
    {
        if (m_process > 0)
            kill(m_process, SIGKILL);
    }
    Camera(const Camera &) = delete;
    Camera &operator=(const Camera &) = delete;

    bool isUp() const { return m_isUp; }

private:
    [[noreturn]] static void serve(const char *address, unsigned int width, unsigned int height,
                                   int ready)
    try {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        nubrix::simulator::SimulatedCameraSettings settings;
        settings.address = address;
        settings.width = width;
        settings.height = height;
        settings.frameRate = 60;
        const nubrix::simulator::SimulatedCamera camera(
            settings, [](std::uint32_t, std::uint32_t, void *, unsigned int, unsigned int) {});
        if (write(ready, "u", 1) == 1)
            pause();
        _exit(0);
    } catch (const std::exception &) {
        _exit(1);
    }

    pid_t m_process = -1;
    bool m_isUp = false;
};

/// Lets the benchmark wait for frames that another thread counts; wakes it with the last only.
class FrameCount {
public:
    void count()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (++m_frames == m_wanted)
            m_changed.notify_all();
    }
    /// Waits for so many more. Throws std::runtime_error when they do not come.
    void await(int frames)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        m_wanted = m_frames + frames;
        if (!m_changed.wait_for(lock, std::chrono::minutes(1),
                                [&] { return m_frames >= m_wanted; }))
            throw std::runtime_error("frames do not come");
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    int m_frames = 0;  // both under m_lock
    int m_wanted = 0;
};

double cpuSeconds()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// The processor time of `frames` frames once they flow.
template <class Await>
double cpuOf(Await &&await)
{
    await();
    const double before = cpuSeconds();
    await();
    return cpuSeconds() - before;
}

/// Aravis and nothing else.
class BareClient {
public:
    explicit BareClient(const char *address)
    {
        const nubrix::net::ObjectPtr<GInetAddress> own(
            g_inet_address_new_from_string(kLargeAddress));
        const nubrix::net::ObjectPtr<GInetAddress> theirs(g_inet_address_new_from_string(address));
        const nubrix::net::ObjectPtr<ArvDevice> device(
            arv_gv_device_new(own.get(), theirs.get(), nullptr));
        if (!device)
            throw std::runtime_error("the bare client does not get the camera");
        m_camera.reset(arv_camera_new_with_device(device.get(), nullptr));
        ArvCamera *camera = m_camera.get();
        arv_camera_gv_set_stream_options(camera, ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED);
        arv_camera_gv_set_packet_size_adjustment(camera, ARV_GV_PACKET_SIZE_ADJUSTMENT_NEVER);
        arv_camera_gv_set_packet_size(camera, kPacket, nullptr);
        const auto payload = arv_camera_get_payload(camera, nullptr);
        m_stream.reset(arv_camera_create_stream(camera, &BareClient::onStream, this, nullptr));
        if (!m_stream)
            throw std::runtime_error("the bare client does not get a stream");
        g_object_set(m_stream.get(), "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_FIXED,
                     "socket-buffer-size", kSocketBuffer, nullptr);
        for (int i = 0; i < kInFlight; ++i)
            arv_stream_push_buffer(m_stream.get(), arv_buffer_new_allocate(payload));
        arv_camera_start_acquisition(camera, nullptr);
    }
    ~BareClient() { arv_camera_stop_acquisition(m_camera.get(), nullptr); }
    BareClient(const BareClient &) = delete;
    BareClient &operator=(const BareClient &) = delete;

    void await(int frames) { m_frames.await(frames); }

private:
    static void onStream(void *client, ArvStreamCallbackType type, ArvBuffer * /*buffer*/)
    {
        auto *self = static_cast<BareClient *>(client);
        if (type != ARV_STREAM_CALLBACK_TYPE_BUFFER_DONE)
            return;
        ArvBuffer *buffer = arv_stream_try_pop_buffer(self->m_stream.get());
        if (arv_buffer_get_status(buffer) == ARV_BUFFER_STATUS_SUCCESS)
            self->m_frames.count();
        arv_stream_push_buffer(self->m_stream.get(), buffer);
    }

    FrameCount m_frames;  // first: the stream's thread uses it
    nubrix::net::ObjectPtr<ArvCamera> m_camera;
    nubrix::net::ObjectPtr<ArvStream> m_stream;
};

/// A stream of the driver.
class DriverClient {
public:
    explicit DriverClient(const std::string &address)
    {
        if (m_driver.initialize() != 0 ||
            m_driver.openDevice(("net:" + address).c_str(), &m_device) != 0 ||
            m_device->createStream(NUBRIX_STREAM_DEPTH, &m_stream) != 0)
            throw std::runtime_error("the driver does not get the camera");
        m_pool.setFrameBufferSize(m_stream->getFrameBufferSize());
        m_stream->setFrameAllocator(&m_pool);
        m_stream->setFrameCallback(&DriverClient::onFrame, this);
        if (m_stream->start() != 0)
            throw std::runtime_error("the driver does not start the stream");
    }
    ~DriverClient() { m_driver.closeDevice(&m_device); }
    DriverClient(const DriverClient &) = delete;
    DriverClient &operator=(const DriverClient &) = delete;

    void await(int frames) { m_frames.await(frames); }

private:
    static void onFrame(NubrixFrameRef * /*frame*/, void *client)
    {
        static_cast<DriverClient *>(client)->m_frames.count();
    }

    FrameCount m_frames;
    nubrix::FrameAllocator m_pool{1, 4, 10};  // as the library makes it
    nubrix::net::NetDriver m_driver{{}};      // after what its streams use
    NubrixBaseDevice *m_device = nullptr;
    NubrixBaseStream *m_stream = nullptr;
};

/// The ratio is that of processor time; `ns` are of one frame.
void BM_NetStream_CpuOfAFrame(benchmark::State &state)
{
    // Made before there is a thread, for both counts.
    static const Camera large(kLargeAddress, 1280, 960);
    static const Camera small(kSmallAddress, 640, 480);
    if (const char *reason = std::getenv("NUBRIX_NO_NETWORK")) {
        state.SkipWithError(("no network of one's own: " + std::string(reason)).c_str());
        return;
    }
    const auto frames = static_cast<int>(state.range(0));
    const bool isSmall = state.range(1) != 0;
    const char *const address = isSmall ? kSmallAddress : kLargeAddress;
    std::vector<double> ours;
    std::vector<double> peers;
    try {
        if (!(isSmall ? small : large).isUp())
            throw std::runtime_error("no camera on " + std::string(address));
        for (auto _ : state) {
            {
                BareClient bare(address);
                peers.push_back(cpuOf([&] { bare.await(frames); }));
            }
            DriverClient client(address);
            ours.push_back(cpuOf([&] { client.await(frames); }));
            state.SetIterationTime(ours.back());
        }
    } catch (const std::runtime_error &error) {
        state.SkipWithError(error.what());
        return;
    }
    nubrix::bench::setRatio(state, nubrix::bench::median(ours) * 1e9 / frames,
                            nubrix::bench::median(peers) * 1e9 / frames);
}
BENCHMARK(BM_NetStream_CpuOfAFrame)
    ->ArgNames({"frames", "small"})
    ->Args({10, 0})
    ->Args({80, 0})
    ->Args({10, 1})
    ->Args({80, 1})
    ->UseManualTime()
    ->Iterations(5);

}  // namespace
