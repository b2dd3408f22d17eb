#include "net/StreamSession.h"

#include <pthread.h>

#include <chrono>
#include <exception>
#include <new>
#include <utility>

#include "common/FrameFlags.h"
#include "common/ModeTable.h"
#include "net/PictureCheck.h"
#include "net/Report.h"

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
    : m_setup(std::move(setup)), m_state(std::move(state))
{
}

StreamSession::~StreamSession()
{
    end();
    tearDown();
}

/// The queues between Aravis' thread and the others have locks that a thread sanitizer does not
/// see. Whoever has put something into one, or is about to take something out, calls this.
void StreamSession::shareWithAravis()
{
    m_handOver.fetch_add(1, std::memory_order_acq_rel);
}

int StreamSession::begin(ArvCamera &camera)
{
    if (m_ended)  // whoever waited for it has given up: nothing of theirs is there any more
        return kGone;
    if (const int status = prepare(camera))
        return status;
    const std::chrono::milliseconds patience = patienceFor(camera);
    Error error;
    shareWithAravis();
    ArvStream *stream =
        arv_camera_create_stream(&camera, &StreamSession::onStream, this, error.out());
    if (stream == nullptr)
        return tellFailure(m_setup.name, error);
    tuneStream(*stream, m_setup.mode.frameRate);
    m_stream = stream;
    if (const int status = pushBuffers(*stream))
        return status;
    arv_camera_start_acquisition(&camera, error.out());
    if (error)
        return tellFailure(m_setup.name, error);
    const std::lock_guard<std::mutex> lock(m_lock);
    if (!m_ended && patience.count() != 0)
        m_watch.begin(patience, [this] { tellSilence(); });
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
        return tellFailure(m_setup.name, error);
    const std::size_t least = m_converter->sourceBytes();
    if (m_payload < least || m_payload > least + kMostChunks) {
        report(m_setup.name + " cannot start: the camera tells of pictures of " +
               std::to_string(m_payload) + " bytes, " + textOf(m_setup.mode) + " has " +
               std::to_string(least) + ", and no more than " + std::to_string(kMostChunks) +
               " may come with them (PayloadSize)");
        return kBadArgument;
    }
    m_isDirect = m_converter->passesThrough() && m_payload <= m_setup.room;
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
            report(m_setup.name + " cannot start: " +
                   (m_isDirect
                        ? "the application holds all frames"
                        : "no memory for pictures of " + std::to_string(m_payload) + " bytes"));
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
    m_watch.end();             // reports nothing after a stop, whoever stops
    if (t_delivering == this)  // the thread that would have to end first
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
        arv_stream_start_thread(stream.get());  // its end stops a thread, and complains of none
}

ArvBuffer *StreamSession::newBuffer()
{
    if (!m_isDirect) {
        auto *memory = new (std::nothrow) std::uint8_t[m_payload];  // Aravis' own cannot fail
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
        ++self->m_counters.unusable;  // no memory for it; Aravis is C
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
    m_state->notePicture();
    // One without its first packet has the number of what was in its buffer before.
    const bool isWhole = arv_buffer_get_status(buffer.get()) == ARV_BUFFER_STATUS_SUCCESS;
    m_counters.missed += m_numbers.take(isWhole ? arv_buffer_get_frame_id(buffer.get()) : 0);
    if (!isUsable(*buffer)) {
        arv_stream_push_buffer(stream, buffer.release());
        return;
    }
    m_watch.notePicture();
    if (m_isDirect) {
        // The camera gets another frame before the application gets this one.
        if (ArvBuffer *next = newBuffer()) {
            arv_stream_push_buffer(stream, next);
            auto *frame = static_cast<NubrixFrameRef *>(
                const_cast<void *>(arv_buffer_get_user_data(buffer.get())));
            deliver(*buffer, *frame);
            return;
        }
        ++m_counters.held;
    } else if (const FramePtr frame{m_setup.allocator->allocOneFrame()}) {
        m_converter->convert(
            static_cast<const std::uint8_t *>(arv_buffer_get_data(buffer.get(), nullptr)),
            static_cast<std::uint8_t *>(frame->frame().data));
        deliver(*buffer, *frame);
    } else {
        ++m_counters.held;
    }
    arv_stream_push_buffer(stream, buffer.release());
}

bool StreamSession::isUsable(ArvBuffer &buffer)
{
    // The last picture before a cable is cut, or before the end, is none that got lost.
    m_counters.unusable += std::exchange(m_isLastIncomplete, false) ? 1 : 0;
    switch (faultOf(buffer, m_setup.format, m_setup.mode, m_converter->sourceBytes())) {
        case Fault::kNone:
            return true;
        case Fault::kGaps:
            // Pictures of another shape have gaps, too.
            if (m_setup.deliversIncomplete && m_misshapen == 0)
                return true;
            break;
        case Fault::kLost:
            break;
        case Fault::kMisshapen:
            if (m_misshapen == 0)
                m_misshape = shapeOf(buffer);
            ++m_misshapen;
            ++m_counters.unusable;
            return false;
    }
    m_isLastIncomplete = true;
    return false;
}

void StreamSession::tellSilence() const noexcept
try {
    if (!m_state->isGone())
        report(m_setup.name + " has sent no picture of use for some seconds: " + causeOfSilence());
} catch (const std::exception &) {
    // No memory for the line.
}

std::string StreamSession::causeOfSilence() const
{
    if (m_misshapen != 0)
        return "its pictures are " + m_misshape + ", and not " + textOf(m_setup.mode) + " " +
               m_setup.format.name;
    ArvStream *stream = m_stream;
    if (m_counters.unusable != 0 ||
        arv_stream_get_info_uint64_by_name(stream, "n_received_packets") != 0)
        return "its pictures come with gaps; larger buffers, larger packets or a lower rate help, "
               "see docs/network.md";
    std::string cause =
        "none of its packets arrives; a firewall, or packets that are too large for the network, "
        "keep them out (nubrix doctor, docs/network.md)";
    if (m_setup.usesPacketSocket)
        cause += "; or they cannot be taken from the interface: packetSocket in nubrixNet.ini";
    return cause;
}

void StreamSession::deliver(ArvBuffer &buffer, NubrixFrameRef &frame)
{
    typedefNubrixFrame &record = frame.frame();
    const auto begun = static_cast<std::int64_t>(arv_buffer_get_system_timestamp(&buffer) / 1000);
    const auto timestamp = static_cast<std::uint64_t>(m_arrivals.of(begun));
    record.pixelFormat = m_setup.mode.pixelFormat;
    record.streamType = m_setup.streamType;
    record.frameIndex = m_numbers.index();
    record.timestampLow = static_cast<unsigned int>(timestamp);
    record.timestampHigh = static_cast<unsigned int>(timestamp >> 32U);
    const bool isWhole = arv_buffer_get_status(&buffer) == ARV_BUFFER_STATUS_SUCCESS;
    record.flags = isWhole ? 0 : kFrameFlagDamaged;
    record.width = m_setup.mode.width;
    record.height = m_setup.mode.height;
    record.dataSize = static_cast<unsigned int>(m_converter->frameBytes());
    record.reserved = 0;
    m_counters.flagged += isWhole ? 0 : 1;
    ++m_counters.delivered;
    t_delivering = this;
    m_isDelivering = true;
    m_setup.callback(&frame, m_setup.user);
    m_isDelivering = false;
    t_delivering = nullptr;
}

StreamCounters StreamSession::counters() const
{
    return m_counters.now();
}

void StreamSession::reportLosses() const noexcept
try {
    const StreamCounters lost = counters();
    const std::string of = " of " + std::to_string(lost.delivered + lost.held + lost.unusable);
    if (lost.held != 0)
        report(m_setup.name + ": pictures dropped because the application held all frames: " +
               std::to_string(lost.held) + of);
    const unsigned int misshapen = m_misshapen;
    if (lost.unusable > misshapen) {
        report(m_setup.name +
               ": incomplete pictures dropped: " + std::to_string(lost.unusable - misshapen) + of +
               "; larger packets or a lower rate help, see docs/network.md");
    }
    if (misshapen != 0)
        report(m_setup.name + ": pictures dropped because they were " + m_misshape + ": " +
               std::to_string(misshapen) + of);
    if (lost.missed != 0)
        report(m_setup.name + ": pictures of which nothing came: " + std::to_string(lost.missed));
    if (lost.flagged != 0)
        report(m_setup.name + ": incomplete frames delivered: " + std::to_string(lost.flagged) +
               of);
} catch (const std::exception &) {
    // No memory for the lines.
}

}  // namespace nubrix::net
