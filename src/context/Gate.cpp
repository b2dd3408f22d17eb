#include "context/Gate.h"

#include <algorithm>

namespace nubrix {

namespace {

constexpr std::size_t kUsualVisitors = 64;  // these need no allocation

}  // namespace

Gate::Gate()
{
    m_visitors.reserve(kUsualVisitors);
}

bool Gate::enter()
{
    const MutexLock guard(m_mutex);
    const auto known = self();
    if (known != m_visitors.end())
        ++known->depth;
    else if (m_shut)
        return false;
    else
        add();
    return true;
}

void Gate::leave()
{
    const MutexLock guard(m_mutex);
    const auto visitor = self();
    if (--visitor->depth > 0)
        return;
    *visitor = m_visitors.back();
    m_visitors.pop_back();
    if (m_shut)
        m_left.notify_all();
}

void Gate::shut()
{
    const MutexLock guard(m_mutex);
    add();
    m_shut = true;
}

void Gate::waitForOthers()
{
    const auto own = std::this_thread::get_id();
    const MutexLock guard(m_mutex);
    while (std::any_of(m_visitors.begin(), m_visitors.end(),
                       [&](const Visitor &visitor) { return visitor.thread != own; }))
        m_mutex.wait(m_left);
}

void Gate::open()
{
    {
        const MutexLock guard(m_mutex);
        m_shut = false;
    }
    leave();
}

bool Gate::isInside()
{
    const MutexLock guard(m_mutex);
    return self() != m_visitors.end();
}

std::vector<Gate::Visitor>::iterator Gate::self()
{
    const auto own = std::this_thread::get_id();
    return std::find_if(m_visitors.begin(), m_visitors.end(),
                        [&](const Visitor &visitor) { return visitor.thread == own; });
}

void Gate::add()
{
    m_visitors.reserve(m_visitors.size() + 2);  // so that shut needs no memory
    m_visitors.push_back({std::this_thread::get_id(), 1});
}

}  // namespace nubrix
