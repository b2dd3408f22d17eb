#include "net/FrameMonitor.h"

#include <pthread.h>

#include <cstdlib>
#include <exception>
#include <utility>

#include "common/ModeTable.h"
#include "net/NetSettings.h"

namespace nubrix::net {

namespace {

enum class Fault {
    kNone,
    kIncomplete,  ///< packets are missing, so the size and format are not known either
    kLost,
    kMismatch,  ///< wrong size or format, several parts, or padding between rows
};

std::size_t bytesOf(ArvBuffer &buffer)
{
    std::size_t bytes = 0;
    arv_buffer_get_data(&buffer, &bytes);
    return bytes;
}

int rowPaddingOf(ArvBuffer &buffer)
{
    int padding = 0;
    arv_buffer_get_image_padding(&buffer, &padding, nullptr);
    return padding;
}

bool isOneImage(ArvBuffer &buffer)
{
    if (arv_buffer_get_n_parts(&buffer) != 1)
        return false;
    const ArvBufferPartDataType type = arv_buffer_get_part_data_type(&buffer, 0);
    return type == ARV_BUFFER_PART_DATA_TYPE_2D_IMAGE || type == ARV_BUFFER_PART_DATA_TYPE_3D_IMAGE;
}

bool matches(ArvBuffer &buffer, const PixelFormat &format, const typedefNubrixFrameMode &mode)
{
    return isOneImage(buffer) && arv_buffer_get_image_pixel_format(&buffer) == format.code &&
           arv_buffer_get_image_width(&buffer) == mode.width &&
           arv_buffer_get_image_height(&buffer) == mode.height && rowPaddingOf(buffer) == 0;
}

Fault faultOf(ArvBuffer &buffer, const CameraSetup &setup, std::size_t bytes)
{
    switch (arv_buffer_get_status(&buffer)) {
        case ARV_BUFFER_STATUS_SUCCESS:
            return matches(buffer, setup.format, setup.mode) && bytesOf(buffer) >= bytes
                       ? Fault::kNone
                       : Fault::kMismatch;
        case ARV_BUFFER_STATUS_SIZE_MISMATCH:
            return Fault::kMismatch;
        case ARV_BUFFER_STATUS_TIMEOUT:
        case ARV_BUFFER_STATUS_MISSING_PACKETS:
            return Fault::kIncomplete;  // Aravis does not know its size and format
        default:
            return Fault::kLost;
    }
}

/// What a mismatched frame is: "640x480 Mono8 in 307200 bytes", "of several parts".
std::string describe(ArvBuffer &buffer)
{
    if (arv_buffer_get_n_parts(&buffer) > 1)
        return "of several parts";
    if (arv_buffer_get_status(&buffer) == ARV_BUFFER_STATUS_SIZE_MISMATCH)
        return "larger than the camera announces";
    if (!isOneImage(buffer))
        return "no images";
    std::string text = std::to_string(arv_buffer_get_image_width(&buffer)) + "x" +
                       std::to_string(arv_buffer_get_image_height(&buffer)) + " " +
                       nameOfPixelFormat(arv_buffer_get_image_pixel_format(&buffer)) + " in " +
                       std::to_string(bytesOf(buffer)) + " bytes";
    if (rowPaddingOf(buffer) != 0)
        text += ", with padding between the rows";
    return text;
}

}  // namespace

unsigned int FrameNumbers::take(std::uint64_t id)
{
    if (!m_last) {
        m_index += std::exchange(m_hasTaken, true) ? 1 : 0;
        if (id != 0)
            m_last = id;
        return 0;
    }
    if (id == 0)
        id = *m_last == kIds ? 1 : *m_last + 1;
    const std::uint64_t step = id > *m_last ? id - *m_last : id + kIds - *m_last;
    m_last = id;
    const bool hasRestarted = step == 0 || step > kIds / 2;
    const auto taken = hasRestarted ? 1U : static_cast<unsigned int>(step);
    m_index += taken;
    return taken - 1;
}

void ArrivalTimes::note(std::int64_t wallUs, std::int64_t monotonicUs)
{
    m_arrivals[m_next++ % m_arrivals.size()] = {wallUs, monotonicUs};
}

std::int64_t ArrivalTimes::monotonicAt(std::int64_t wallUs) const
{
    const Arrival *nearest = m_arrivals.data();
    for (const Arrival &arrival : m_arrivals) {
        if (std::llabs(arrival.wallUs - wallUs) < std::llabs(nearest->wallUs - wallUs))
            nearest = &arrival;
    }
    return nearest->monotonicUs;
}

FrameWatchdog::~FrameWatchdog()
{
    stop();
}

void FrameWatchdog::start(std::chrono::milliseconds timeout, std::function<void()> onTimeout)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_hasStopped)
        return;
    m_onTimeout = std::move(onTimeout);
    m_timeout = Clock::duration(timeout).count();
    noteFrame();
    m_thread = std::thread(&FrameWatchdog::run, this);
    m_isRunning = true;
}

void FrameWatchdog::stop()
{
    std::thread thread;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_hasStopped = true;
        m_isRunning = false;
        m_stopped.notify_all();
        thread.swap(m_thread);
    }
    if (thread.joinable())
        thread.join();
}

void FrameWatchdog::noteFrame()
{
    m_lastFrame = Clock::now().time_since_epoch().count();
}

bool FrameWatchdog::isExpired() const
{
    return m_isRunning && Clock::now() >= deadline();
}

FrameWatchdog::Clock::time_point FrameWatchdog::deadline() const
{
    return Clock::time_point(Clock::duration(m_lastFrame.load() + m_timeout.load()));
}

void FrameWatchdog::run()
{
    pthread_setname_np(pthread_self(), "nubrix-net-idle");
    const auto hasStopped = [this] { return !m_isRunning; };
    Clock::time_point reported;
    std::unique_lock<std::mutex> lock(m_lock);
    while (m_isRunning) {
        const Clock::time_point end = deadline();
        if (Clock::now() < end || reported == end) {
            const auto timeout = Clock::duration(m_timeout.load());
            m_stopped.wait_until(lock, reported == end ? Clock::now() + timeout : end, hasStopped);
            continue;
        }
        reported = end;
        lock.unlock();
        m_onTimeout();
        lock.lock();
    }
}

bool FrameMonitor::accept(ArvBuffer &buffer, std::size_t bytes)
{
    // An incomplete frame counts when the next one arrives: the last one before a cable is cut, or
    // before the stop, is not a loss.
    m_counters.unusable += std::exchange(m_isLastIncomplete, false) ? 1 : 0;
    switch (faultOf(buffer, m_setup, bytes)) {
        case Fault::kNone:
            return true;
        case Fault::kIncomplete:
            // Mismatched frames may be incomplete, too.
            if (m_deliversIncomplete && m_mismatched == 0)
                return true;
            break;
        case Fault::kLost:
            break;
        case Fault::kMismatch:
            if (m_mismatched == 0)
                m_mismatch = describe(buffer);
            ++m_mismatched;
            ++m_counters.unusable;
            return false;
    }
    m_isLastIncomplete = true;
    return false;
}

std::string FrameMonitor::causeOfTimeout(ArvStream &stream) const
{
    if (m_mismatched != 0)
        return "its frames are " + m_mismatch + ", and not " + textOf(m_setup.mode) + " " +
               m_setup.format.name;
    if (m_counters.unusable != 0 ||
        arv_stream_get_info_uint64_by_name(&stream, "n_received_packets") != 0)
        return "its frames are incomplete; larger buffers, larger packets or a lower rate help, "
               "see docs/network.md";
    std::string cause =
        "none of its packets arrives; a firewall blocks them, or they are too large for the "
        "network (nubrix doctor, docs/network.md)";
    if (m_setup.usesPacketSocket)
        cause += "; or they cannot be taken from the interface: packetSocket in nubrixNet.ini";
    return cause;
}

void FrameMonitor::reportLosses() const noexcept
try {
    const StreamCounters lost = m_counters.now();
    const std::string &name = m_setup.name;
    const std::string of = " of " + std::to_string(lost.delivered + lost.held + lost.unusable);
    if (lost.held != 0) {
        kReporter.error(name + ": frames dropped because the application held all frames: " +
                        std::to_string(lost.held) + of);
    }
    const unsigned int mismatched = m_mismatched;
    if (lost.unusable > mismatched) {
        kReporter.error(
            name + ": incomplete frames dropped: " + std::to_string(lost.unusable - mismatched) +
            of + "; larger packets or a lower rate help, see docs/network.md");
    }
    if (mismatched != 0) {
        kReporter.error(name + ": frames dropped because they were " + m_mismatch + ": " +
                        std::to_string(mismatched) + of);
    }
    if (lost.missed != 0)
        kReporter.error(name + ": frames that never arrived: " + std::to_string(lost.missed));
    if (lost.flagged != 0) {
        kReporter.error(name + ": incomplete frames delivered: " + std::to_string(lost.flagged) +
                        of);
    }
} catch (const std::exception &) {
    // No memory for the lines.
}

}  // namespace nubrix::net
