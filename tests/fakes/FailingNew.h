// Lets one allocation of the C++ heap fail, as on a machine without memory.
#pragma once

#include <new>

namespace nubrix {

/// While it lives, call number `index` (from 0) of operator new on this thread throws
/// std::bad_alloc; all others succeed. One at a time on a thread. For executables that have
/// FailingNew.cpp among their sources.
class FailingNew {
public:
    explicit FailingNew(int index);
    ~FailingNew();
    FailingNew(const FailingNew &) = delete;
    FailingNew &operator=(const FailingNew &) = delete;

    /// Whether that call has been made.
    bool hasFailed() const;
};

/// Calls `action` with its first allocation failing, then with its second, and so on until it needs
/// no more; `check` is called after each failure. Returns the number of failures.
template <class Action, class Check>
int failEachAllocation(Action action, Check check)
{
    for (int index = 0;; ++index) {
        bool failed = false;
        {
            const FailingNew failing(index);
            try {
                action();
            } catch (const std::bad_alloc &) {
            }
            failed = failing.hasFailed();
        }
        if (!failed)
            return index;
        check();
    }
}

}  // namespace nubrix
