#include "net/NetStream.h"

#include <pthread.h>

#include <chrono>
#include <exception>
#include <new>
#include <utility>

#include "common/DriverStream.h"
#include "common/ModeTable.h"
#include "net/FrameMonitor.h"
#include "net/NetDevice.h"
#include "net/NetSettings.h"

namespace nubrix::net {

namespace {

constexpr unsigned int kInFlight = 4;         // of the 10 frames of a pool
constexpr std::size_t kMostChunks = 1 << 20;  // bytes that may come with a frame

void releaseFrame(void *frame)
{
    static_cast<NubrixFrameRef *>(frame)->release();
}

void releaseMemory(void *memory)
{
    delete[] static_cast<std::uint8_t *>(memory);
}

}  // namespace

thread_local const StreamSession *StreamSession::t_delivering = nullptr;

StreamSession::StreamSession(StreamSetup setup, std::shared_ptr<CameraState> state)
    : m_setup(std::move(setup)),
      m_state(std::move(state)),
      m_monitor(m_setup, m_setup.deliversIncomplete)
{
}

StreamSession::~StreamSession()
{
    end();
    tearDown();
}

/// A thread sanitizer does not see the locks of the queues between Aravis' thread and the others.
/// Every thread calls this after it has put something into a queue and before it takes something
/// out.
void StreamSession::shareWithAravis()
{
    m_handOver.fetch_add(1, std::memory_order_acq_rel);
}

int StreamSession::begin(ArvCamera &camera)
{
    if (m_ended)  // the caller has given up waiting, and the allocator may be gone
        return kGone;
    if (const int status = prepare(camera))
        return status;
    const std::chrono::milliseconds timeout = frameTimeoutOf(camera);
    Error error;
    shareWithAravis();
    ArvStream *stream =
        arv_camera_create_stream(&camera, &StreamSession::onStream, this, error.out());
    if (stream == nullptr)
        return reportError(m_setup.name, error);
    configureStream(*stream, m_setup.mode.frameRate);
    m_stream = stream;
    if (const int status = pushBuffers(*stream))
        return status;
    arv_camera_start_acquisition(&camera, error.out());
    if (error)
        return reportError(m_setup.name, error);
    const std::lock_guard<std::mutex> lock(m_lock);
    if (!m_ended && timeout.count() != 0)
        m_watchdog.start(timeout, [this] { reportTimeout(); });
    return kDone;
}

int StreamSession::prepare(ArvCamera &camera)
{
    if (const int status = setUpCamera(camera, m_setup))
        return status;
    DepthScale depth;
    if (m_setup.format.layout == Layout::kDepth) {
        if (const int status = readDepthScale(camera, m_setup.name, depth))
            return status;
    }
    m_converter = std::make_unique<FrameConverter>(m_setup.format, depth, m_setup.mode.width,
                                                   m_setup.mode.height);
    Error error;
    m_payload = arv_camera_get_payload(&camera, error.out());
    if (error)
        return reportError(m_setup.name, error);
    const std::size_t least = m_converter->sourceBytes();
    if (m_payload < least || m_payload > least + kMostChunks) {
        kReporter.error(m_setup.name + " cannot start: the camera announces frames of " +
                        std::to_string(m_payload) + " bytes, " + textOf(m_setup.mode) + " has " +
                        std::to_string(least) + ", and no more than " +
                        std::to_string(kMostChunks) +
                        " bytes of other data may come with them (PayloadSize)");
        return kBadArgument;
    }
    m_isDirect = m_converter->passesThrough() && m_payload <= m_setup.frameCapacity;
    return kDone;
}

int StreamSession::pushBuffers(ArvStream &stream)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_ended)
        return kGone;
    for (unsigned int i = 0; i < kInFlight; ++i) {
        ArvBuffer *buffer = newBuffer();
        if (buffer == nullptr && i == 0) {
            kReporter.error(
                m_setup.name + " cannot start: " +
                (m_isDirect ? "the application holds all frames"
                            : "no memory for frames of " + std::to_string(m_payload) + " bytes"));
            return m_isDirect ? kLimitReached : kFailed;
        }
        shareWithAravis();
        if (buffer != nullptr)
            arv_stream_push_buffer(&stream, buffer);
    }
    return kDone;
}

void StreamSession::end()
{
    m_ended = true;
    m_watchdog.stop();         // nothing is reported after a stop, on any thread
    if (t_delivering == this)  // this is the thread that would have to end first
        return;
    const std::lock_guard<std::mutex> lock(m_lock);
    ArvStream *stream = m_stream;
    if (stream != nullptr && !std::exchange(m_isThreadStopped, true))
        arv_stream_stop_thread(stream, TRUE);
    shareWithAravis();
}

void StreamSession::stopCamera(ArvCamera &camera)
{
    if (m_stream != nullptr && !m_state->isGone())
        arv_camera_stop_acquisition(&camera, nullptr);
}

void StreamSession::tearDown()
{
    end();
    const std::lock_guard<std::mutex> lock(m_lock);
    const ObjectPtr<ArvStream> stream(m_stream.exchange(nullptr));
    if (stream && m_isThreadStopped)
        arv_stream_start_thread(stream.get());  // its destruction warns when no thread runs
}

ArvBuffer *StreamSession::newBuffer()
{
    if (!m_isDirect) {
        auto *memory = new (std::nothrow) std::uint8_t[m_payload];  // Aravis would end the process
        return memory == nullptr ? nullptr
                                 : arv_buffer_new_full(m_payload, memory, memory, &releaseMemory);
    }
    NubrixFrameRef *frame = m_setup.allocator->allocOneFrame();
    if (frame == nullptr)
        return nullptr;
    return arv_buffer_new_full(m_payload, frame->frame().data, frame, &releaseFrame);
}

void StreamSession::onStream(void *session, ArvStreamCallbackType type, ArvBuffer * /*buffer*/)
{
    if (type == ARV_STREAM_CALLBACK_TYPE_INIT)
        pthread_setname_np(pthread_self(), "nubrix-net-rx");
    auto *self = static_cast<StreamSession *>(session);
    self->shareWithAravis();
    try {
        if (type == ARV_STREAM_CALLBACK_TYPE_START_BUFFER)
            self->m_arrivals.note(g_get_real_time(), g_get_monotonic_time());
        if (type == ARV_STREAM_CALLBACK_TYPE_BUFFER_DONE)
            self->takeBuffer();
    } catch (const std::exception &) {
        ++self->m_monitor.counters().unusable;  // no memory for it; Aravis is C
        self->m_isDelivering = false;
        t_delivering = nullptr;
    }
    self->shareWithAravis();
}

void StreamSession::takeBuffer()
{
    ArvStream *stream = m_stream;
    ObjectPtr<ArvBuffer> buffer(arv_stream_try_pop_buffer(stream));
    if (!buffer || m_ended)
        return;
    m_state->noteFrame();
    // A frame without its first packet has the number of an older frame of the same buffer.
    const bool isComplete = arv_buffer_get_status(buffer.get()) == ARV_BUFFER_STATUS_SUCCESS;
    RunningCounters &counters = m_monitor.counters();
    counters.missed += m_numbers.take(isComplete ? arv_buffer_get_frame_id(buffer.get()) : 0);
    if (!m_monitor.accept(*buffer, m_converter->sourceBytes())) {
        arv_stream_push_buffer(stream, buffer.release());
        return;
    }
    m_watchdog.noteFrame();
    if (m_isDirect) {
        // The camera gets another frame before the application gets this one.
        if (ArvBuffer *next = newBuffer()) {
            arv_stream_push_buffer(stream, next);
            auto *frame = static_cast<NubrixFrameRef *>(
                const_cast<void *>(arv_buffer_get_user_data(buffer.get())));
            deliver(*buffer, *frame);
            return;
        }
        ++counters.held;
    } else if (const FramePtr frame{m_setup.allocator->allocOneFrame()}) {
        m_converter->convert(
            static_cast<const std::uint8_t *>(arv_buffer_get_data(buffer.get(), nullptr)),
            static_cast<std::uint8_t *>(frame->frame().data));
        deliver(*buffer, *frame);
    } else {
        ++counters.held;
    }
    arv_stream_push_buffer(stream, buffer.release());
}

void StreamSession::reportTimeout() const noexcept
try {
    if (!m_state->isGone())
        kReporter.error(m_setup.name + " has sent no valid frame for some seconds: " +
                        m_monitor.causeOfTimeout(*m_stream));
} catch (const std::exception &) {
    // No memory for the line.
}

void StreamSession::deliver(ArvBuffer &buffer, NubrixFrameRef &frame)
{
    typedefNubrixFrame &record = frame.frame();
    const auto begun = static_cast<std::int64_t>(arv_buffer_get_system_timestamp(&buffer) / 1000);
    const auto timestamp = static_cast<std::uint64_t>(m_arrivals.monotonicAt(begun));
    record.pixelFormat = m_setup.mode.pixelFormat;
    record.streamType = m_setup.streamType;
    record.frameIndex = m_numbers.index();
    record.timestampLow = static_cast<unsigned int>(timestamp);
    record.timestampHigh = static_cast<unsigned int>(timestamp >> 32U);
    const bool isComplete = arv_buffer_get_status(&buffer) == ARV_BUFFER_STATUS_SUCCESS;
    record.flags = isComplete ? 0 : kFrameFlagDamaged;
    record.width = m_setup.mode.width;
    record.height = m_setup.mode.height;
    record.dataSize = static_cast<unsigned int>(m_converter->frameBytes());
    record.reserved = 0;
    m_monitor.counters().flagged += isComplete ? 0 : 1;
    ++m_monitor.counters().delivered;
    t_delivering = this;
    m_isDelivering = true;
    m_setup.callback(&frame, m_setup.user);
    m_isDelivering = false;
    t_delivering = nullptr;
}

NetStream::NetStream(NetDevice &device, unsigned int streamType)
    : DriverStream(streamType), m_device(device)
{
}

NetStream::~NetStream()
{
    NetStream::stop();
}

unsigned int NetStream::getFrameBufferSize()
{
    const typedefNubrixFrameMode mode = m_device.mode(m_streamType);
    return static_cast<unsigned int>(mode.width) * mode.height * pixelBytes(mode.pixelFormat);
}

int NetStream::start()
try {
    if (!mayStart())
        return kWrongState;
    if (m_device.isGone())
        return kGone;
    StreamSetup setup = m_device.setupOf(m_streamType);
    setup.frameCapacity = m_allocator->getFrameBufferSize();
    if (setup.frameCapacity < getFrameBufferSize()) {
        kReporter.error(setup.name + " needs frames of " + std::to_string(getFrameBufferSize()) +
                        " bytes, and those of its allocator have " +
                        std::to_string(setup.frameCapacity));
        return kWrongState;
    }
    setup.allocator = m_allocator;
    setup.callback = m_callback;
    setup.user = m_user;
    if (isEnding()) {
        kReporter.error(setup.name +
                        " has been stopped by its frame callback, which has not returned yet");
        return kWrongState;
    }
    const auto session = std::make_shared<StreamSession>(std::move(setup), m_device.state());
    ArvCamera *camera = m_device.camera();
    m_stopCamera = CameraWorker::prepare([session, camera] { session->stopCamera(*camera); });
    m_tearDown = CameraWorker::prepare([session] { session->tearDown(); });
    if (!m_device.claimCamera(*this)) {
        kReporter.error(m_device.name() + " sends one stream at a time: stop the other one first");
        return kWrongState;
    }
    m_running = true;  // from here on stop undoes everything
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_session = session;
    }
    m_device.state()->noteFrame();  // the timeout of the monitor begins here
    const auto end = NetDevice::callDeadline();
    auto begun =
        m_device.worker().submit(end, [session, camera] { return session->begin(*camera); });
    const int status = m_device.await(begun, end) ? begun.get() : kGone;
    if (status != kDone)
        stop();
    return status;
} catch (...) {
    reportFailure("starting a stream of a network camera");
    stop();
    return kFailed;
}

int NetStream::stop()
{
    if (!m_running.exchange(false))
        return kDone;
    std::shared_ptr<StreamSession> session;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        session = m_session;
    }
    const auto end = NetDevice::callDeadline();
    // Nobody waits for this task: the worker runs the tasks in their order.
    m_device.worker().submit(end, std::move(m_stopCamera));
    session->end();
    m_device.worker().submit(end, std::move(m_tearDown));
    m_device.releaseCamera(*this);
    session->monitor().reportLosses();
    return kDone;
}

/// The callback that stopped the stream has not returned.
bool NetStream::isEnding() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_session && m_session->isDelivering();
}

bool NetStream::isResponsive() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return !m_session || !m_session->hasTimedOut();
}

StreamCounters NetStream::counters() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_session ? m_session->monitor().counters().now() : StreamCounters{};
}

}  // namespace nubrix::net
