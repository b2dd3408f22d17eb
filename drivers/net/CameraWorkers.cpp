#include "net/CameraWorkers.h"

#include <algorithm>
#include <utility>

namespace nubrix {

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

}  // namespace nubrix
