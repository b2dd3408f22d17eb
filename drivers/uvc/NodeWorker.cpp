#include "uvc/NodeWorker.h"

#include <linux/uvcvideo.h>
#include <linux/videodev2.h>
#include <pthread.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <utility>
#include <vector>

#include "uvc/Capture.h"
#include "uvc/NodeIo.h"

namespace nubrix::uvc {

namespace {

const char *nameOf(unsigned long request)
{
    switch (request) {
        case VIDIOC_TRY_FMT:
            return "VIDIOC_TRY_FMT";
        case VIDIOC_S_FMT:
            return "VIDIOC_S_FMT";
        case VIDIOC_S_PARM:
            return "VIDIOC_S_PARM";
        case VIDIOC_REQBUFS:
            return "VIDIOC_REQBUFS";
        case VIDIOC_STREAMON:
            return "VIDIOC_STREAMON";
        case VIDIOC_STREAMOFF:
            return "VIDIOC_STREAMOFF";
        case VIDIOC_G_CTRL:
            return "VIDIOC_G_CTRL";
        case VIDIOC_S_CTRL:
            return "VIDIOC_S_CTRL";
        case UVCIOC_CTRL_QUERY:
            return "UVCIOC_CTRL_QUERY";
        default:
            return "an ioctl";
    }
}

/// Whether the kernel answers a request without the camera.
bool isLocal(unsigned long request)
{
    switch (request) {
        case VIDIOC_QUERYCAP:
        case VIDIOC_ENUM_FMT:
        case VIDIOC_ENUM_FRAMESIZES:
        case VIDIOC_ENUM_FRAMEINTERVALS:
        case VIDIOC_QUERYBUF:
            return true;
        default:
            return false;
    }
}

/// An error of the kernel. ETIME is reserved for timeouts that NodeWorker has reported.
int kernelError(int error)
{
    return error == ETIME ? ETIMEDOUT : error;
}

/// An ioctl on a copy of its argument.
class Request {
public:
    /// False when the argument is too large.
    bool copy(unsigned long code, const void *argument)
    {
        if (_IOC_SIZE(code) > m_argument.size())
            return false;
        m_code = code;
        std::memcpy(m_argument.data(), argument, _IOC_SIZE(code));
        if (code != UVCIOC_CTRL_QUERY)
            return true;
        uvc_xu_control_query query = {};
        std::memcpy(&query, argument, sizeof query);
        m_data.assign(query.data, query.data + query.size);
        query.data = m_data.data();
        std::memcpy(m_argument.data(), &query, sizeof query);
        return true;
    }
    int run(NodeIo &node) { return node.control(m_code, m_argument.data()); }
    void copyResult(void *argument) const
    {
        if (m_code != UVCIOC_CTRL_QUERY) {
            std::memcpy(argument, m_argument.data(), _IOC_SIZE(m_code));
            return;
        }
        uvc_xu_control_query query = {};
        std::memcpy(&query, argument, sizeof query);
        std::copy(m_data.begin(), m_data.end(), query.data);
    }
    const char *name() const { return m_code == 0 ? "open" : nameOf(m_code); }

private:
    unsigned long m_code = 0;
    alignas(std::max_align_t) std::array<std::byte, 256> m_argument = {};
    std::vector<std::uint8_t> m_data;
};

}  // namespace

/// The requests to the thread, and the node.
class NodeWorker::Queue {
public:
    explicit Queue(std::string camera) : m_camera(std::move(camera)) {}

    /// The function of the thread.
    void run(const Opening &opening) noexcept;

    int waitUntilOpen();
    int request(unsigned long code, void *argument);
    /// Ends the thread; false when it has not ended by the deadline.
    bool end();
    void hold(std::shared_ptr<void> what);
    bool isBlocked();
    /// The node, after it has been opened.
    NodeIo &node() { return *m_node; }

private:
    enum class Phase { kIdle, kRequested, kFinished };
    using Lock = std::unique_lock<std::mutex>;

    bool hasReleases() const { return m_streamOff || m_freeMemory != 0 || m_held; }
    void release(Lock &lock) noexcept;
    void finish(int error);
    int abandon(Lock &lock);
    int refuse(Lock &lock, unsigned long code, const void *argument);

    const std::string m_camera;
    std::unique_ptr<NodeIo> m_node;  // set by the thread, then fixed until the thread ends
    std::mutex m_lock;
    std::condition_variable m_changed;
    Phase m_phase =
        Phase::kRequested;  // everything below is under m_lock; the first request is to open
    Request m_request;      // used by the thread while it is requested
    int m_result = 0;
    bool m_blocked = false;    // the caller no longer waits
    bool m_streamOff = false;  // these three: to be released when the node is free
    std::uint32_t m_freeMemory = 0;
    std::shared_ptr<void> m_held;
    bool m_releasing = false;  // some of them are being released, without the lock
    bool m_ending = false;
    bool m_ended = false;
};

void NodeWorker::Queue::run(const Opening &opening) noexcept
{
    ::pthread_setname_np(::pthread_self(), "nubrix-usb-node");
    int error = ENOMEM;
    try {
        error = kernelError(opening(m_node));
    } catch (...) {
        reportFailure("opening a video node");
    }
    Lock lock(m_lock);
    finish(error);
    for (;;) {
        if (hasReleases()) {
            release(lock);
        } else if (m_phase == Phase::kRequested) {
            lock.unlock();
            error = kernelError(m_request.run(*m_node));
            lock.lock();
            finish(error);
        } else if (std::exchange(m_blocked, false)) {
            m_changed.notify_all();
        } else if (m_ending) {
            break;
        } else {
            m_changed.wait(lock);
        }
    }
    lock.unlock();
    m_node.reset();
    lock.lock();
    m_ended = true;
    m_changed.notify_all();
}

void NodeWorker::Queue::finish(int error)
{
    m_result = error;
    m_phase = m_blocked ? Phase::kIdle : Phase::kFinished;
    m_changed.notify_all();
}

void NodeWorker::Queue::release(Lock &lock) noexcept
{
    const bool streamOff = std::exchange(m_streamOff, false);
    const std::uint32_t memory = std::exchange(m_freeMemory, 0);
    std::shared_ptr<void> held = std::move(m_held);
    m_releasing = true;
    lock.unlock();
    if (streamOff)
        switchCapture(*m_node, VIDIOC_STREAMOFF);
    std::uint32_t none = 0;
    if (memory != 0)
        requestBuffers(*m_node, memory, none);
    held.reset();
    lock.lock();
    m_releasing = false;
}

int NodeWorker::Queue::waitUntilOpen()
{
    Lock lock(m_lock);
    if (!m_changed.wait_until(lock, CallDeadline::current(),
                              [this] { return m_phase == Phase::kFinished; }))
        return abandon(lock);
    m_phase = Phase::kIdle;
    return m_result;
}

int NodeWorker::Queue::request(unsigned long code, void *argument)
{
    const auto end = CallDeadline::current();
    Lock lock(m_lock);
    m_changed.wait_until(lock, end, [this] { return m_phase == Phase::kIdle || m_blocked; });
    if (m_phase != Phase::kIdle || m_blocked)
        return refuse(lock, code, argument);
    if (!m_request.copy(code, argument))
        return EINVAL;
    m_phase = Phase::kRequested;
    m_changed.notify_all();
    if (!m_changed.wait_until(lock, end, [this] { return m_phase == Phase::kFinished; }))
        return abandon(lock);
    m_request.copyResult(argument);
    m_phase = Phase::kIdle;
    m_changed.notify_all();
    return m_result;
}

bool NodeWorker::Queue::isBlocked()
{
    const Lock lock(m_lock);
    return m_blocked;
}

int NodeWorker::Queue::abandon(Lock &lock)
{
    m_blocked = true;
    m_changed.notify_all();
    const char *name = m_request.name();
    lock.unlock();
    kReporter.error(m_camera + " does not answer: " + name +
                    " has not returned in time, and the node cannot be used until it has");
    return ETIME;
}

int NodeWorker::Queue::refuse(Lock &lock, unsigned long code, const void *argument)
{
    v4l2_requestbuffers buffers = {};
    if (code == VIDIOC_REQBUFS)
        std::memcpy(&buffers, argument, sizeof buffers);
    const bool releases =
        code == VIDIOC_STREAMOFF || (code == VIDIOC_REQBUFS && buffers.count == 0);
    if (code == VIDIOC_STREAMOFF)
        m_streamOff = true;
    else if (releases)
        m_freeMemory = buffers.memory;
    m_changed.notify_all();
    const char *name = m_request.name();
    lock.unlock();
    // The driver itself makes this request before each call: it is not worth a report.
    if (!releases && code != VIDIOC_QUERYCAP)
        kReporter.error(m_camera + " does not answer: " + nameOf(code) + " has to wait for " +
                        name + ", which has not returned");
    return ETIME;
}

bool NodeWorker::Queue::end()
{
    Lock lock(m_lock);
    m_ending = true;
    m_changed.notify_all();
    return m_changed.wait_until(lock, CallDeadline::current(), [this] { return m_ended; });
}

void NodeWorker::Queue::hold(std::shared_ptr<void> what)
{
    const Lock lock(m_lock);
    // Until its buffers have been released nobody gets others of this node, so nothing is held yet.
    if (m_blocked || m_releasing || hasReleases())
        m_held = std::move(what);
}

NodeWorker::NodeWorker(const std::string &camera, DriverThreads &threads)
    : m_queue(std::make_shared<Queue>(camera)), m_threads(threads)
{
}

int NodeWorker::open(const std::string &camera, Opening opening, DriverThreads &threads,
                     std::unique_ptr<NodeIo> &node)
{
    std::unique_ptr<NodeWorker> worker(new NodeWorker(camera, threads));
    worker->m_thread = threads.run(
        [queue = worker->m_queue, opening = std::move(opening)] { queue->run(opening); });
    const int error = worker->m_queue->waitUntilOpen();
    if (error == 0)
        node = std::move(worker);
    return error;
}

NodeWorker::~NodeWorker()
{
    if (m_thread && m_queue->end())
        m_threads.join(m_thread);
}

int NodeWorker::control(unsigned long request, void *argument)
try {
    const bool isFrames = request == VIDIOC_QBUF || request == VIDIOC_DQBUF;
    if (isFrames || (isLocal(request) && !m_queue->isBlocked()))
        return kernelError(m_queue->node().control(request, argument));
    return m_queue->request(request, argument);
} catch (...) {
    reportFailure("a request to a camera");
    return ENOMEM;
}

void *NodeWorker::map(std::size_t length, std::uint32_t offset)
{
    return m_queue->node().map(length, offset);
}

void NodeWorker::unmap(void *memory, std::size_t length)
{
    m_queue->node().unmap(memory, length);
}

int NodeWorker::descriptor() const
{
    return m_queue->node().descriptor();
}

void NodeWorker::hold(std::shared_ptr<void> what)
{
    m_queue->hold(std::move(what));
}

}  // namespace nubrix::uvc
