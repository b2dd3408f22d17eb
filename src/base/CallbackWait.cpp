#include "base/CallbackWait.h"

#include "base/CallbackScope.h"

namespace nubrix {

namespace {

Undestroyed<Mutex> g_mutex;

}  // namespace

Mutex &CallbackWait::s_mutex = g_mutex.get();
CallbackWait *CallbackWait::s_first = nullptr;

CallbackWait::CallbackWait(const void *caller) : m_within(CallbackScope::caller()), m_for(caller)
{
    if (!m_within)  // nobody waits for this thread
        return;
    const MutexLock guard(s_mutex);
    m_endless = leadsTo(m_for, m_within);
    if (m_endless)
        return;
    m_next = s_first;
    s_first = this;
}

CallbackWait::~CallbackWait()
{
    if (!m_within || m_endless)
        return;
    const MutexLock guard(s_mutex);
    CallbackWait **link = &s_first;
    while (*link != this)
        link = &(*link)->m_next;
    *link = m_next;
}

// Ends, because no wait that closes a circle is listed.
bool CallbackWait::leadsTo(const void *from, const void *to)
{
    if (from == to)
        return true;
    for (const CallbackWait *each = s_first; each; each = each->m_next) {
        if (each->m_within == from && leadsTo(each->m_for, to))
            return true;
    }
    return false;
}

}  // namespace nubrix
