#include "base/CallbackWait.h"

#include "base/CallbackScope.h"

namespace nubrix {

namespace {

Undestroyed<Mutex> g_mutex;

}  // namespace

Mutex &CallbackWait::s_mutex = g_mutex.get();
CallbackWait *CallbackWait::s_first = nullptr;

CallbackWait::CallbackWait(const void *caller) : m_within(CallbackScope::innermost()), m_for(caller)
{
    if (!m_within)  // nobody waits for this thread
        return;
    const MutexLock guard(s_mutex);
    m_wouldHang = leadsTo(m_for, *m_within);
    if (m_wouldHang)
        return;
    m_next = s_first;
    s_first = this;
}

CallbackWait::~CallbackWait()
{
    if (!m_within || m_wouldHang)
        return;
    const MutexLock guard(s_mutex);
    CallbackWait **link = &s_first;
    while (*link != this)
        link = &(*link)->m_next;
    *link = m_next;
}

// Whether a callback of `caller` is this one or waits for it. Ends, because no wait that closes a
// cycle is listed.
bool CallbackWait::leadsTo(const void *caller, const CallbackScope &callback)
{
    if (callback.isOf(caller))
        return true;
    for (const CallbackWait *each = s_first; each; each = each->m_next) {
        if (each->m_within->isOf(caller) && leadsTo(each->m_for, callback))
            return true;
    }
    return false;
}

}  // namespace nubrix
