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
constexpr std::uint32_t kHeartbeatMs = 1500;     // within which whoever opens it next may wait
constexpr std::chrono::seconds kLost{3};         // without an answer
constexpr std::chrono::milliseconds kSlice{20};  // within which another end is noticed
constexpr std::chrono::milliseconds kResend{200};
constexpr std::chrono::milliseconds kQuiet{400};
constexpr std::size_t kBlock = 512;  // bytes of memory in one packet

/// For what is left when nothing is asked of the camera any more.
constexpr std::chrono::milliseconds kRest{200};

}  // namespace

void ControlChannel::begin(Clock::time_point end)
{
    m_end = end;
    m_isSilent = m_hasHeard = m_hasFailed = false;
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

/// Why an access that waits is over; nothing while it is not.
std::optional<ControlChannel::Outcome> ControlChannel::outcomeAt(Clock::time_point now,
                                                                 Clock::time_point quiet)
{
    const bool isOver = now >= m_end || now.time_since_epoch().count() >= m_lastEnd;
    if (!isOver && now < quiet && !m_isSilent)
        return std::nullopt;
    m_hasFailed = true;
    m_isSilent = m_isSilent || now >= quiet;
    return m_hasHeard && !m_isSilent ? Outcome::kLate : Outcome::kSilent;
}

ControlChannel::Outcome ControlChannel::ask(std::uint16_t command,
                                            const std::vector<std::uint32_t> &words,
                                            const Packet &bytes, Packet &content)
{
    const std::uint16_t id = nextRequestId();
    const Packet request = makeRequest(command, id, words, bytes);
    auto resend = Clock::now();
    auto quiet = resend + kQuiet;
    if (!connect())
        return Outcome::kSilent;
    for (;;) {
        const auto now = Clock::now();
        if (const auto outcome = outcomeAt(now, quiet))
            return *outcome;
        if (now >= resend) {  // with the same number: the camera does it once
            m_socket->send(request);
            resend = now + kResend;
        }
        const Packet packet =
            m_socket->receive(std::min({resend, quiet, m_end, now + kSlice})).packet;
        if (const auto delay = delayIn(packet, id)) {
            m_hasHeard = true;
            resend = now + *delay + kResend;
            quiet = now + *delay + kQuiet;
        }
        auto answer = answerIn(packet, command, id);
        if (!answer)
            continue;
        m_hasHeard = true;
        content = std::move(answer->content);
        m_refusal = answer->status;
        return m_refusal == 0 ? Outcome::kFine : Outcome::kRefused;
    }
}

ControlChannel::Outcome ControlChannel::readRegister(std::uint32_t place, std::uint32_t &value)
{
    Packet content;
    const Outcome outcome = ask(kReadRegister, {place}, {}, content);
    if (outcome != Outcome::kFine)
        return outcome;
    if (content.size() < 4)
        return Outcome::kOdd;
    value = wordAt(content, 0);
    return outcome;
}

ControlChannel::Outcome ControlChannel::writeRegister(std::uint32_t place, std::uint32_t value)
{
    Packet content;
    return ask(kWriteRegister, {place, value}, {}, content);
}

ControlChannel::Outcome ControlChannel::readMemory(std::uint32_t place, std::uint8_t *bytes,
                                                   std::size_t size)
{
    for (std::size_t done = 0; done < size; done += kBlock) {
        const std::size_t part = std::min(kBlock, size - done);
        const auto from = static_cast<std::uint32_t>(place + done);
        Packet content;
        const Outcome outcome =
            ask(kReadMemory, {from, static_cast<std::uint32_t>((part + 3) / 4 * 4)}, {}, content);
        if (outcome != Outcome::kFine)
            return outcome;
        if (content.size() < 4 + part || wordAt(content, 0) != from)
            return Outcome::kOdd;
        std::copy_n(content.begin() + 4, part, bytes + done);
    }
    return Outcome::kFine;
}

ControlChannel::Outcome ControlChannel::writeMemory(std::uint32_t place, const std::uint8_t *bytes,
                                                    std::size_t size)
{
    for (std::size_t done = 0; done < size; done += kBlock) {
        const std::size_t part = std::min(kBlock, size - done);
        Packet content;
        const Outcome outcome = ask(kWriteMemory, {static_cast<std::uint32_t>(place + done)},
                                    Packet(bytes + done, bytes + done + part), content);
        if (outcome != Outcome::kFine)
            return outcome;
    }
    return Outcome::kFine;
}

ControlChannel::Outcome ControlChannel::takeControl()
{
    const Outcome outcome = writeRegister(kControlRegister, kControl);
    m_hasControl = outcome == Outcome::kFine;
    m_lastKept = Clock::now();
    // A camera that refuses the time-out keeps its own.
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
    begin(now + kBeat);
    if (readRegister(kControlRegister, bits) == Outcome::kFine) {
        m_lastKept = now;
        m_hasControl = (bits & kControlBits) != 0;
    } else {
        m_hasControl = now - m_lastKept < kLost;
    }
    return m_hasControl;
}

void CameraWorker::submit(Clock::time_point end, Prepared task) noexcept
{
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        task.front().end = end;
        m_tasks.splice(m_tasks.end(), task);
    }
    m_changed.notify_all();
}

void CameraWorker::retire(Clock::time_point end) noexcept
{
    m_channel.endAt(end);
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_isRetired = true;
        m_end = end;
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
    return m_changed.wait_until(lock, m_end + kRest, [this] { return m_hasEnded; });
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
    auto beat = Clock::now() + ControlChannel::kBeat;
    std::unique_lock<std::mutex> lock(m_lock);
    for (;;) {
        const auto hasWork = [&] { return m_isRetired || !m_tasks.empty(); };
        if (!m_changed.wait_until(lock, beat, hasWork)) {
            lock.unlock();
            keepControl();
            lock.lock();
            beat = Clock::now() + ControlChannel::kBeat;
            continue;
        }
        if (m_tasks.empty())
            return;
        Prepared task;
        task.splice(task.end(), m_tasks, m_tasks.begin());
        lock.unlock();
        m_channel.begin(task.front().end);
        task.front().run();
        noteHealth();
        task.clear();  // what it owned goes without the lock
        lock.lock();
    }
}

void CameraWorker::keepControl()
try {
    if (!m_channel.keepControl())
        m_state->setGone();
    noteHealth();
} catch (const std::exception &) {
    // No memory now; the next beat may have some.
}

void CameraWorker::noteHealth()
{
    if (m_channel.isSilent())
        m_state->noteSilence();
    else if (m_channel.hasHeard())
        m_state->noteAnswer();
}

/// Without memory the camera is free when its heartbeat has ended.
void CameraWorker::releaseCamera()
try {
    if (m_camera) {
        closeAddressOf(*arv_camera_get_device(m_camera.get()));
        m_camera.reset();
    }
    m_channel.begin(Clock::time_point::max());
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
