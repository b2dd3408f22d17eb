#include "context/InFlight.h"

#include <algorithm>

namespace nubrix {

void InFlight::enter()
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_threads.push_back(std::this_thread::get_id());
}

void InFlight::leave()
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_threads.erase(std::find(m_threads.begin(), m_threads.end(), std::this_thread::get_id()));
    m_left.notify_all();
}

void InFlight::waitForOthers()
{
    const auto self = std::this_thread::get_id();
    std::unique_lock<std::mutex> guard(m_mutex);
    m_left.wait(guard, [&] {
        return std::all_of(m_threads.begin(), m_threads.end(),
                           [&](std::thread::id each) { return each == self; });
    });
}

}  // namespace nubrix
