#include "net/CameraWorker.h"

#include <pthread.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "common/Report.h"
#include "net/Aravis.h"

namespace nubrix::net {

namespace {

constexpr std::uint32_t kHeartbeatRegister = 0x0938;
constexpr std::uint32_t kHeartbeatMs = 1500;        // the next controller may have to wait so long
constexpr std::chrono::seconds kControlTimeout{3};  // without an answer
constexpr std::chrono::milliseconds kSlice{20};     // within which a new last deadline is noticed
constexpr std::chrono::milliseconds kResend{200};
constexpr std::chrono::milliseconds kAnswerTimeout{400};
constexpr std::size_t kBlock = 512;  // bytes of memory in a packet

/// How long a worker may still run after its deadline, when it cannot access the camera any more.
constexpr std::chrono::milliseconds kShutdownTime{200};

}  // namespace

void ControlChannel::beginCall(Clock::time_point deadline)
{
    m_deadline = deadline;
    m_isUnresponsive = m_hasAnswered = m_hasFailed = false;
}

bool ControlChannel::connect()
try {
    if (!m_socket) {
        m_socket.emplace();
        if (!m_socket->connectTo(m_address))
            m_socket.reset();
    }
    return m_socket.has_value();
} catch (...) {
    reportFailure("making a socket for a network camera");
    return false;
}

/// The outcome of an access without an answer; nothing while it may wait longer.
std::optional<ControlChannel::Outcome> ControlChannel::outcomeAt(Clock::time_point now,
                                                                 Clock::time_point answerDue)
{
    const bool isOver = now >= m_deadline || now.time_since_epoch().count() >= m_lastDeadline;
    if (!isOver && now < answerDue && !m_isUnresponsive)
        return std::nullopt;
    m_hasFailed = true;
    m_isUnresponsive = m_isUnresponsive || now >= answerDue;
    return m_hasAnswered && !m_isUnresponsive ? Outcome::kLate : Outcome::kNoAnswer;
}

ControlChannel::Outcome ControlChannel::request(std::uint16_t command,
                                                const std::vector<std::uint32_t> &words,
                                                const Packet &bytes, Packet &content)
{
    const std::uint16_t id = nextRequestId();
    const Packet packet = makeRequest(command, id, words, bytes);
    auto resend = Clock::now();
    auto answerDue = resend + kAnswerTimeout;
    if (!connect())
        return Outcome::kNoAnswer;
    for (;;) {
        const auto now = Clock::now();
        if (const auto outcome = outcomeAt(now, answerDue))
            return *outcome;
        if (now >= resend) {  // with the same id, so that the camera executes it once
            m_socket->send(packet);
            resend = now + kResend;
        }
        const Packet received =
            m_socket->receive(std::min({resend, answerDue, m_deadline, now + kSlice})).packet;
        if (const auto delay = delayIn(received, id)) {
            m_hasAnswered = true;
            resend = now + *delay + kResend;
            answerDue = now + *delay + kAnswerTimeout;
        }
        auto answer = answerIn(received, command, id);
        if (!answer)
            continue;
        m_hasAnswered = true;
        content = std::move(answer->content);
        m_refusal = answer->status;
        return m_refusal == 0 ? Outcome::kOk : Outcome::kRefused;
    }
}

ControlChannel::Outcome ControlChannel::readRegister(std::uint32_t address, std::uint32_t &value)
{
    Packet content;
    const Outcome outcome = request(kReadRegister, {address}, {}, content);
    if (outcome != Outcome::kOk)
        return outcome;
    if (content.size() < 4)
        return Outcome::kInvalid;
    value = wordAt(content, 0);
    return outcome;
}

ControlChannel::Outcome ControlChannel::writeRegister(std::uint32_t address, std::uint32_t value)
{
    Packet content;
    return request(kWriteRegister, {address, value}, {}, content);
}

ControlChannel::Outcome ControlChannel::readMemory(std::uint32_t address, std::uint8_t *bytes,
                                                   std::size_t size)
{
    for (std::size_t done = 0; done < size; done += kBlock) {
        const std::size_t part = std::min(kBlock, size - done);
        const auto from = static_cast<std::uint32_t>(address + done);
        Packet content;
        const Outcome outcome = request(
            kReadMemory, {from, static_cast<std::uint32_t>((part + 3) / 4 * 4)}, {}, content);
        if (outcome != Outcome::kOk)
            return outcome;
        if (content.size() < 4 + part || wordAt(content, 0) != from)
            return Outcome::kInvalid;
        std::copy_n(content.begin() + 4, part, bytes + done);
    }
    return Outcome::kOk;
}

ControlChannel::Outcome ControlChannel::writeMemory(std::uint32_t address,
                                                    const std::uint8_t *bytes, std::size_t size)
{
    for (std::size_t done = 0; done < size; done += kBlock) {
        const std::size_t part = std::min(kBlock, size - done);
        Packet content;
        const Outcome outcome = request(kWriteMemory, {static_cast<std::uint32_t>(address + done)},
                                        Packet(bytes + done, bytes + done + part), content);
        if (outcome != Outcome::kOk)
            return outcome;
    }
    return Outcome::kOk;
}

ControlChannel::Outcome ControlChannel::takeControl()
{
    const Outcome outcome = writeRegister(kControlRegister, kControl);
    m_hasControl = outcome == Outcome::kOk;
    m_lastKept = Clock::now();
    // A camera that refuses this timeout keeps its own.
    if (m_hasControl)
        writeRegister(kHeartbeatRegister, kHeartbeatMs);
    return outcome;
}

void ControlChannel::releaseControl()
{
    if (m_hasControl)
        writeRegister(kControlRegister, 0);
    m_hasControl = false;
}

bool ControlChannel::keepControl()
{
    if (!m_hasControl)
        return true;
    std::uint32_t bits = 0;
    const auto now = Clock::now();
    beginCall(now + kHeartbeat);
    if (readRegister(kControlRegister, bits) == Outcome::kOk) {
        m_lastKept = now;
        m_hasControl = (bits & kControlBits) != 0;
    } else {
        m_hasControl = now - m_lastKept < kControlTimeout;
    }
    return m_hasControl;
}

void CameraWorker::submit(Clock::time_point deadline, Prepared task) noexcept
{
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        task.front().deadline = deadline;
        m_tasks.splice(m_tasks.end(), task);
    }
    m_changed.notify_all();
}

void CameraWorker::retire(Clock::time_point deadline) noexcept
{
    m_channel.setLastDeadline(deadline);
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_isRetired = true;
        m_deadline = deadline;
    }
    m_changed.notify_all();
}

bool CameraWorker::isRetired() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_isRetired;
}

bool CameraWorker::awaitEnd()
{
    std::unique_lock<std::mutex> lock(m_lock);
    return m_changed.wait_until(lock, m_deadline + kShutdownTime, [this] { return m_hasEnded; });
}

void CameraWorker::run()
{
    pthread_setname_np(pthread_self(), "nubrix-net-cam");
    runTasks();
    releaseCamera();
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_hasEnded = true;
    }
    m_changed.notify_all();
}

void CameraWorker::runTasks()
{
    auto heartbeat = Clock::now() + ControlChannel::kHeartbeat;
    std::unique_lock<std::mutex> lock(m_lock);
    for (;;) {
        const auto hasWork = [&] { return m_isRetired || !m_tasks.empty(); };
        if (!m_changed.wait_until(lock, heartbeat, hasWork)) {
            lock.unlock();
            keepControl();
            lock.lock();
            heartbeat = Clock::now() + ControlChannel::kHeartbeat;
            continue;
        }
        if (m_tasks.empty())
            return;
        Prepared task;
        task.splice(task.end(), m_tasks, m_tasks.begin());
        lock.unlock();
        m_channel.beginCall(task.front().deadline);
        task.front().run();
        updateState();
        task.clear();  // without the lock, as this may destroy what the task owns
        lock.lock();
    }
}

void CameraWorker::keepControl()
try {
    if (!m_channel.keepControl())
        m_state->setGone();
    updateState();
} catch (const std::exception &) {
    // No memory now; the next heartbeat may have some.
}

void CameraWorker::updateState()
{
    if (m_channel.isUnresponsive())
        m_state->noteNoAnswer();
    else if (m_channel.hasAnswered())
        m_state->noteAnswer();
}

/// Without memory, the camera releases itself when its heartbeat timeout has passed.
void CameraWorker::releaseCamera()
try {
    if (m_camera) {
        invalidateAddressOf(*arv_camera_get_device(m_camera.get()));
        m_camera.reset();
    }
    m_channel.beginCall(Clock::time_point::max());
    m_channel.releaseControl();
} catch (...) {
    reportFailure("releasing a network camera");
}

std::shared_ptr<CameraWorker> CameraWorkers::start(const std::string &address,
                                                   std::shared_ptr<CameraState> state)
{
    auto worker = std::make_shared<CameraWorker>(address, std::move(state));
    std::list<Entry> entry;
    entry.push_back({0, worker, nullptr});
    entry.front().thread = m_threads.run([worker] { worker->run(); });
    const std::lock_guard<std::mutex> lock(m_lock);
    entry.front().number = ++m_last;
    m_entries.splice(m_entries.end(), entry);
    return worker;
}

void CameraWorkers::joinFinished() noexcept
{
    for (Entry entry = nextRetired(0); entry.worker; entry = nextRetired(entry.number)) {
        if (!entry.worker->awaitEnd())
            continue;
        m_threads.join(entry.thread);
        remove(entry.number);
    }
}

CameraWorkers::Entry CameraWorkers::nextRetired(std::uint64_t after)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const auto found = std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry &entry) {
        return entry.number > after && entry.worker->isRetired();
    });
    return found == m_entries.end() ? Entry{} : *found;
}

void CameraWorkers::remove(std::uint64_t number)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_entries.remove_if([&](const Entry &entry) { return entry.number == number; });
}

}  // namespace nubrix::net
