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

#include "uvc/CallDeadline.h"
#include "uvc/Capture.h"
#include "uvc/Report.h"

namespace nubrix {

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

/// The kernel answers it without the camera.
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

/// An error of the kernel, whose ETIME would pass for one that has been reported here.
int kernelError(int error)
{
    return error == ETIME ? ETIMEDOUT : error;
}

/// An ioctl on a copy of its argument.
class Request {
public:
    /// False when there is no space for it.
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
    int make(NodeIo &node) { return node.control(m_code, m_argument.data()); }
    void giveBack(void *argument) const
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

/// What the thread is to do, and the node.
class NodeWorker::Queue {
public:
    explicit Queue(std::string camera) : m_camera(std::move(camera)) {}

    /// The thread.
    void run(const Opening &opening) noexcept;

    int awaitOpened();
    int ask(unsigned long code, void *argument);
    /// Has the thread end; false when it has not by the deadline.
    bool end();
    void hold(std::shared_ptr<void> what);
    bool isBlocked();
    /// Of a node that has been opened.
    NodeIo &node() { return *m_node; }

private:
    enum class Phase { kIdle, kAsked, kAnswered };
    using Lock = std::unique_lock<std::mutex>;

    bool hasReleases() const { return m_streamOff || m_freeMemory != 0 || m_held; }
    void release(Lock &lock) noexcept;
    void answerWith(int error);
    int giveUp(Lock &lock);
    int refuse(Lock &lock, unsigned long code, const void *argument);

    const std::string m_camera;
    std::unique_ptr<NodeIo> m_node;  // of the thread, then fixed until it ends
    std::mutex m_lock;
    std::condition_variable m_changed;
    Phase m_phase = Phase::kAsked;  // everything below is under m_lock; at first: to open
    Request m_request;              // while it is asked: of the thread
    int m_answer = 0;
    bool m_blocked = false;    // who has asked no longer waits
    bool m_streamOff = false;  // these three: to be freed when the node can be
    std::uint32_t m_freeMemory = 0;
    std::shared_ptr<void> m_held;
    bool m_releasing = false;  // some of them, without the lock
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
    answerWith(error);
    for (;;) {
        if (hasReleases()) {
            release(lock);
        } else if (m_phase == Phase::kAsked) {
            lock.unlock();
            error = kernelError(m_request.make(*m_node));
            lock.lock();
            answerWith(error);
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

void NodeWorker::Queue::answerWith(int error)
{
    m_answer = error;
    m_phase = m_blocked ? Phase::kIdle : Phase::kAnswered;
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

int NodeWorker::Queue::awaitOpened()
{
    Lock lock(m_lock);
    if (!m_changed.wait_until(lock, CallDeadline::current(),
                              [this] { return m_phase == Phase::kAnswered; }))
        return giveUp(lock);
    m_phase = Phase::kIdle;
    return m_answer;
}

int NodeWorker::Queue::ask(unsigned long code, void *argument)
{
    const auto end = CallDeadline::current();
    Lock lock(m_lock);
    m_changed.wait_until(lock, end, [this] { return m_phase == Phase::kIdle || m_blocked; });
    if (m_phase != Phase::kIdle || m_blocked)
        return refuse(lock, code, argument);
    if (!m_request.copy(code, argument))
        return EINVAL;
    m_phase = Phase::kAsked;
    m_changed.notify_all();
    if (!m_changed.wait_until(lock, end, [this] { return m_phase == Phase::kAnswered; }))
        return giveUp(lock);
    m_request.giveBack(argument);
    m_phase = Phase::kIdle;
    m_changed.notify_all();
    return m_answer;
}

bool NodeWorker::Queue::isBlocked()
{
    const Lock lock(m_lock);
    return m_blocked;
}

int NodeWorker::Queue::giveUp(Lock &lock)
{
    m_blocked = true;
    m_changed.notify_all();
    const char *name = m_request.name();
    lock.unlock();
    report(m_camera + " does not answer: " + name +
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
    // What the driver asks by itself, before each call, is not worth a line.
    if (!releases && code != VIDIOC_QUERYCAP)
        report(m_camera + " does not answer: " + nameOf(code) + " has to wait for " + name +
               ", which has not returned");
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
    // Until they have been freed nobody gets other buffers of the node, so nothing is held yet.
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
    const int error = worker->m_queue->awaitOpened();
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
    return m_queue->ask(request, argument);
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

}  // namespace nubrix
