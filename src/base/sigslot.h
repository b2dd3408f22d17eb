// Signals: objects that call methods of other objects, and disconnect from them when they are
// destroyed.
//
// A signal holds its lock while it calls the connected methods, so that once a receiver is
// disconnected no call to it is running. A method must therefore not connect to, disconnect from or
// emit the signal that is calling it.
#pragma once

#include <pthread.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace sigslot {

/// No locking: everything happens on one thread, or under a lock of the owner's.
class single_threaded {
public:
    virtual ~single_threaded() = default;
    virtual void lock() {}
    virtual void unlock() {}
};

/// One mutex, not recursive, for each signal or receiver.
class multi_threaded_local {
public:
    multi_threaded_local() { pthread_mutex_init(&m_mutex, nullptr); }
    multi_threaded_local(const multi_threaded_local &) = delete;
    multi_threaded_local &operator=(const multi_threaded_local &) = delete;
    virtual ~multi_threaded_local() { pthread_mutex_destroy(&m_mutex); }
    virtual void lock() { pthread_mutex_lock(&m_mutex); }
    virtual void unlock() { pthread_mutex_unlock(&m_mutex); }

private:
    pthread_mutex_t m_mutex;
};

template <class Policy>
class lock_block {
public:
    explicit lock_block(Policy &policy) : m_policy(policy) { m_policy.lock(); }
    ~lock_block() { m_policy.unlock(); }
    lock_block(const lock_block &) = delete;
    lock_block &operator=(const lock_block &) = delete;

private:
    Policy &m_policy;
};

class receiver_base;

/// The part of a signal that outlives it while a receiver still looks at it.
class signal_core {
public:
    virtual ~signal_core() = default;
    /// Forgets every connection to the receiver; waits for a running emission.
    virtual void forget(receiver_base *receiver) = 0;
};

/// What a signal needs of a receiver.
class receiver_base {
public:
    virtual void signal_connect(const std::shared_ptr<signal_core> &sender) = 0;
    virtual void signal_disconnect(const signal_core *sender) = 0;

protected:
    ~receiver_base() = default;
};

/// Base of every class with methods that signals call. The lock order is signal before receiver:
/// disconnect_all takes no signal's lock under its own.
template <class Policy>
class has_slots : public receiver_base, public Policy {
public:
    has_slots() = default;
    has_slots(const has_slots &) = delete;
    has_slots &operator=(const has_slots &) = delete;

    void signal_connect(const std::shared_ptr<signal_core> &sender) override
    {
        const lock_block<Policy> guard(*this);
        if (std::find(m_senders.begin(), m_senders.end(), sender) == m_senders.end())
            m_senders.push_back(sender);
    }
    void signal_disconnect(const signal_core *sender) override
    {
        const lock_block<Policy> guard(*this);
        std::erase_if(m_senders, [&](const auto &known) { return known.get() == sender; });
    }
    ~has_slots() override { has_slots::disconnect_all(); }

    /// Leaves every signal. Afterwards none of them is calling this object. A class whose methods
    /// run on other threads calls it first thing in its own destructor.
    virtual void disconnect_all()
    {
        while (const std::shared_ptr<signal_core> sender = takeSender())
            sender->forget(this);
    }

private:
    std::shared_ptr<signal_core> takeSender()
    {
        const lock_block<Policy> guard(*this);
        if (m_senders.empty())
            return nullptr;
        std::shared_ptr<signal_core> last = std::move(m_senders.back());
        m_senders.pop_back();
        return last;
    }

    std::vector<std::shared_ptr<signal_core>> m_senders;  // under the policy's lock
};

/// A signal with any number of arguments; see signal0 and signal1.
template <class Policy, class... Arguments>
class signal {
public:
    signal() : m_core(std::make_shared<core>()) {}
    signal(const signal &) = delete;
    signal &operator=(const signal &) = delete;
    ~signal() { disconnect_all(); }

    /// Calls target->method on every emission from now on, after those connected before. Connects
    /// nothing when it throws (std::bad_alloc).
    template <class Target>
    void connect(Target *target, void (Target::*method)(Arguments...))
    {
        const lock_block<Policy> guard(*m_core);
        m_core->m_connections.push_back(connection::make(target, method));
        try {
            target->signal_connect(m_core);
        } catch (...) {
            m_core->m_connections.pop_back();
            throw;
        }
    }
    void disconnect(receiver_base *target)
    {
        const lock_block<Policy> guard(*m_core);
        m_core->erase(target);
        target->signal_disconnect(m_core.get());
    }
    void disconnect_all()
    {
        const lock_block<Policy> guard(*m_core);
        while (!m_core->m_connections.empty()) {
            // Once each: a receiver without any signal left may be destroyed at any time.
            receiver_base *const receiver = m_core->m_connections.front().receiver;
            m_core->erase(receiver);
            receiver->signal_disconnect(m_core.get());
        }
    }
    /// Calls the connected methods. False when there is none.
    bool emit(Arguments... arguments)
    {
        const lock_block<Policy> guard(*m_core);
        for (const connection &each : m_core->m_connections)
            each.call(each, arguments...);
        return !m_core->m_connections.empty();
    }
    void operator()(Arguments... arguments) { emit(arguments...); }

private:
    class any_class;
    using any_method = void (any_class::*)(Arguments...);

    struct connection {
        receiver_base *receiver;
        void *target;
        any_method method;
        void (*call)(const connection &, Arguments...);

        template <class Target>
        static connection make(Target *target, void (Target::*method)(Arguments...))
        {
            return {target, target, reinterpret_cast<any_method>(method),
                    [](const connection &self, Arguments... arguments) {
                        const auto real =
                            reinterpret_cast<void (Target::*)(Arguments...)>(self.method);
                        (static_cast<Target *>(self.target)->*real)(arguments...);
                    }};
        }
    };

    struct core final : signal_core, Policy {
        void forget(receiver_base *receiver) override
        {
            const lock_block<Policy> guard(*this);
            erase(receiver);
        }
        void erase(receiver_base *receiver)
        {
            std::erase_if(m_connections,
                          [&](const connection &each) { return each.receiver == receiver; });
        }
        std::vector<connection> m_connections;  // under the policy's lock, in the order made
    };

    const std::shared_ptr<core> m_core;
};

template <class Policy>
using signal0 = signal<Policy>;
template <class Argument, class Policy>
using signal1 = signal<Policy, Argument>;

}  // namespace sigslot
