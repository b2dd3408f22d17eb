#include "context/LifeTurns.h"

namespace nubrix {

LifeTurns::Turn::Turn(LifeTurns &turns, Waiting waiting) : m_turns(turns)
{
    const MutexLock guard(turns.m_mutex);
    if (waiting == Waiting::kNot && turns.current())
        return;
    turns.append(*this);
    while (turns.current() != this)
        turns.m_mutex.wait(turns.m_changed);
    m_mine = true;
}

LifeTurns::Turn::~Turn()
{
    if (!m_mine)
        return;
    const MutexLock guard(m_turns.m_mutex);
    m_turns.remove(*this);
    m_turns.m_changed.notify_all();  // under the lock, which whoever deletes the turns takes first
}

// Never in a circle: each waits for those alone that came after it.
void LifeTurns::Turn::endAfterOthers()
{
    const MutexLock guard(m_turns.m_mutex);
    m_ended = true;
    m_turns.m_changed.notify_all();
    const std::uint64_t last = m_turns.m_calls;
    while (m_next && m_next->m_number <= last)
        m_turns.m_mutex.wait(m_turns.m_changed);
}

void LifeTurns::waitForAll()
{
    const MutexLock guard(m_mutex);
    while (m_first)
        m_mutex.wait(m_changed);
}

const LifeTurns::Turn *LifeTurns::current() const
{
    const Turn *each = m_first;
    while (each && each->m_ended)
        each = each->m_next;
    return each;
}

void LifeTurns::append(Turn &turn)
{
    turn.m_number = ++m_calls;
    Turn **link = &m_first;
    while (*link)
        link = &(*link)->m_next;
    *link = &turn;
}

void LifeTurns::remove(const Turn &turn)
{
    Turn **link = &m_first;
    while (*link != &turn)
        link = &(*link)->m_next;
    *link = turn.m_next;
}

}  // namespace nubrix
